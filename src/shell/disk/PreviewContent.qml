pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// What the preview's panel holds: the title, the picture, text or icon, and below it the facts and the path.
FocusScope {
    id: content

    required property QuickLookDataSource source

    signal closeRequested()

    implicitHeight: layout.implicitHeight
    Accessible.role: Accessible.Dialog
    Accessible.name: qsTr("Preview of %1").arg(content.source.title)
    Keys.onSpacePressed: content.closeRequested()

    ColumnLayout {
        id: layout
        anchors.fill: parent
        spacing: Theme.space3

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space2

            AppIcon {
                name: content.source.iconName
                size: Theme.iconMedium
                color: Theme.textSecondary
            }
            AppLabel {
                objectName: "previewTitle"
                Layout.fillWidth: true
                text: content.source.title
                font.pixelSize: Theme.sizeEmphasis
                font.weight: Font.DemiBold
                elide: Text.ElideMiddle
                Accessible.role: Accessible.Heading
            }
            AppIconButton {
                text: qsTr("Close")
                icon.name: "close"
                onClicked: content.closeRequested()
            }
        }

        Rectangle {
            visible: content.source.content === QuickLookDataSource.Picture
            Layout.fillWidth: true
            Layout.fillHeight: true
            radius: Theme.radiusControl
            color: Theme.rowAlternate

            PreviewImage {
                objectName: "previewPicture"
                anchors.fill: parent
                anchors.margins: Theme.space2
                source: content.source
                Accessible.role: Accessible.Graphic
                Accessible.name: content.source.title
            }
        }

        Rectangle {
            visible: content.source.content === QuickLookDataSource.Text
            Layout.fillWidth: true
            Layout.fillHeight: true
            radius: Theme.radiusControl
            color: Theme.rowAlternate

            Flickable {
                id: page
                anchors.fill: parent
                anchors.margins: Theme.space2
                clip: true
                boundsBehavior: Flickable.StopAtBounds
                contentWidth: width
                contentHeight: words.height
                T.ScrollBar.vertical: AppScrollBar {}

                TextEdit {
                    id: words
                    objectName: "previewText"
                    width: page.width - Theme.space3
                    text: content.source.text
                    focus: true
                    readOnly: true
                    selectByMouse: true
                    selectionColor: Theme.accentFill
                    selectedTextColor: Theme.textOnAccent
                    color: Theme.text
                    font.family: "monospace"
                    font.pixelSize: Theme.sizeBody
                    textFormat: TextEdit.PlainText
                    wrapMode: TextEdit.Wrap
                    Accessible.role: Accessible.EditableText
                    Accessible.readOnly: true
                    Accessible.name: qsTr("Beginning of the file")
                    Keys.onSpacePressed: content.closeRequested()
                    Keys.onDownPressed: page.flick(0, -600)
                    Keys.onUpPressed: page.flick(0, 600)
                }
            }
        }

        AppIcon {
            visible: content.source.content === QuickLookDataSource.Facts
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: Theme.space4
            Layout.bottomMargin: Theme.space4
            name: content.source.iconName
            size: Math.round(56 * Theme.typeScale)
            color: Theme.textSecondary
        }

        AppLabel {
            objectName: "previewMessage"
            visible: text.length > 0
            Layout.fillWidth: true
            text: content.source.message
            secondary: true
            wrapMode: Text.Wrap
            horizontalAlignment: content.source.content === QuickLookDataSource.Facts ? Text.AlignHCenter
                                                                                    : Text.AlignLeft
        }

        Hairline {
            Layout.fillWidth: true
        }

        Flow {
            Layout.fillWidth: true
            spacing: Theme.space6

            Repeater {
                model: content.source.facts

                Column {
                    id: fact

                    required property var modelData

                    spacing: 2

                    AppLabel {
                        text: fact.modelData.label
                        secondary: true
                        font.pixelSize: Theme.sizeCaption
                    }
                    AppLabel {
                        text: fact.modelData.value
                    }
                }
            }
        }

        TextEdit {
            objectName: "previewPath"
            Layout.fillWidth: true
            text: content.source.pathText
            readOnly: true
            selectByMouse: true
            activeFocusOnTab: true
            selectionColor: Theme.accentFill
            selectedTextColor: Theme.textOnAccent
            color: Theme.textSecondary
            font.pixelSize: Theme.sizeBody
            textFormat: TextEdit.PlainText
            wrapMode: TextEdit.WrapAnywhere
            Accessible.role: Accessible.EditableText
            Accessible.readOnly: true
            Accessible.name: qsTr("Path")
        }
    }
}
