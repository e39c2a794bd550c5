pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The places that could not be read, each with its reason.
AppDialog {
    id: sheet

    required property DiskSpacePresenter presenter

    iconName: "warning"
    iconColor: Theme.review
    preferredWidth: 680 * Theme.typeScale
    title: presenter.unreadableText
    text: qsTr("What lies there is missing from the sums. Nothing was changed.")
    actions: [done]
    defaultAction: done
    cancelAction: done

    T.Action {
        id: done
        text: qsTr("Done")
    }

    Rectangle {
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.preferredHeight: Math.min(320, list.contentHeight + 2) * Theme.typeScale
        Layout.minimumHeight: 80
        color: Theme.surface
        border.width: 1
        border.color: Theme.hairline
        radius: Theme.radiusControl

        RowList {
            id: list
            anchors.fill: parent
            anchors.margins: 1
            // The sheet begins on its button.
            focus: false
            model: sheet.presenter.scanErrors
            Accessible.name: sheet.title
            onRowWanted: row => show(row)
            Keys.onPressed: event => event.accepted = takeMove(event)

            delegate: Rectangle {
                id: row

                required property string path
                required property string reason
                required property int index

                width: ListView.view.width
                implicitHeight: place.implicitHeight + why.implicitHeight + 2 * Theme.space2
                color: ListView.isCurrentItem && list.activeFocus ? Theme.selection
                                                                 : index % 2 === 1 ? Theme.rowAlternate : "transparent"
                Accessible.role: Accessible.ListItem
                Accessible.name: path
                Accessible.description: reason

                TextEdit {
                    id: place
                    x: Theme.space3
                    y: Theme.space2
                    width: parent.width - 2 * Theme.space3
                    text: row.path
                    readOnly: true
                    selectByMouse: true
                    wrapMode: TextEdit.WrapAnywhere
                    textFormat: TextEdit.PlainText
                    color: Theme.text
                    selectionColor: Theme.accentFill
                    selectedTextColor: Theme.textOnAccent
                    font.pixelSize: Theme.sizeBody
                }
                Text {
                    id: why
                    x: Theme.space3
                    anchors.top: place.bottom
                    width: parent.width - 2 * Theme.space3
                    text: row.reason
                    wrapMode: Text.Wrap
                    textFormat: Text.PlainText
                    color: Theme.textSecondary
                    font.pixelSize: Theme.sizeCaption
                }
            }
        }
    }
    RowLayout {
        spacing: Theme.space3

        AppButton {
            text: qsTr("Copy List")
            icon.name: "copy"
            onClicked: {
                sheet.presenter.copyScanErrors();
                copied.visible = true;
            }
        }
        AppLabel {
            id: copied
            visible: false
            text: qsTr("The list was copied.")
            secondary: true
            Accessible.role: Accessible.AlertMessage
        }
    }
}
