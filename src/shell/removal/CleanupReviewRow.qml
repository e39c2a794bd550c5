import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// One item of the review: its name, risk and size, its whole path, and why it is proposed.
Rectangle {
    id: row

    required property int index
    required property string name
    required property string risk
    required property bool isSafe
    required property string sizeText
    required property string path
    required property string reason
    required property string keeperText
    required property string runningText
    required property string uncheckedText
    required property string iconName
    required property string spokenText
    required property bool isCurrent
    property int margin: Theme.space5
    // Whether the item can be taken out of the list.
    property bool canDrop: false

    signal chosen
    signal dropped
    signal revealed
    signal menuRequested(x: real, y: real)

    implicitHeight: words.implicitHeight + 2 * Theme.space3
    color: isCurrent ? Theme.selection : "transparent"
    Accessible.role: Accessible.ListItem
    Accessible.name: spokenText
    Accessible.focusable: true
    Accessible.selectable: true
    Accessible.selected: isCurrent

    TapHandler {
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onSingleTapped: (point, button) => {
            row.chosen();
            if (button === Qt.RightButton) {
                row.menuRequested(point.position.x, point.position.y);
            }
        }
    }

    AppIcon {
        id: glyph
        x: row.margin
        y: Theme.space3
        name: row.iconName
        size: Theme.iconMedium
        color: Theme.textSecondary
    }

    ColumnLayout {
        id: words
        anchors.left: glyph.right
        anchors.leftMargin: Theme.space4
        anchors.right: buttons.left
        anchors.rightMargin: Theme.space2
        y: Theme.space3
        spacing: 2

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space2

            Text {
                Layout.maximumWidth: implicitWidth + 1
                Layout.fillWidth: true
                text: row.name
                color: Theme.text
                font.pixelSize: Theme.sizeBody
                font.weight: Font.DemiBold
                elide: Text.ElideMiddle
                textFormat: Text.PlainText
            }
            Rectangle {
                Layout.minimumWidth: implicitWidth
                implicitWidth: label.implicitWidth + 2 * Theme.space2
                implicitHeight: label.implicitHeight + Theme.space1
                radius: height / 2
                color: row.isSafe ? Theme.safeFill : Theme.reviewFill

                Text {
                    id: label
                    anchors.centerIn: parent
                    text: row.risk
                    color: row.isSafe ? Theme.safe : Theme.review
                    font.pixelSize: Theme.sizeCaption
                    font.weight: Font.DemiBold
                    textFormat: Text.PlainText
                }
            }
            Item {
                Layout.fillWidth: true
            }
            Text {
                text: row.sizeText
                color: Theme.text
                font.pixelSize: Theme.sizeBody
                font.weight: Font.DemiBold
                textFormat: Text.PlainText
            }
        }
        TextEdit {
            Layout.fillWidth: true
            text: row.path
            readOnly: true
            selectByMouse: true
            wrapMode: TextEdit.WrapAnywhere
            textFormat: TextEdit.PlainText
            color: Theme.textSecondary
            selectionColor: Theme.accentFill
            selectedTextColor: Theme.textOnAccent
            font.pixelSize: Theme.sizeBody - 1
            Accessible.ignored: true
        }
        Text {
            Layout.fillWidth: true
            text: row.reason
            color: Theme.text
            font.pixelSize: Theme.sizeBody - 1
            wrapMode: Text.Wrap
            textFormat: Text.PlainText
        }
        Text {
            visible: row.keeperText.length > 0
            Layout.fillWidth: true
            text: row.keeperText
            color: Theme.textSecondary
            font.pixelSize: Theme.sizeBody - 1
            wrapMode: Text.WrapAnywhere
            textFormat: Text.PlainText
        }
        Text {
            visible: row.runningText.length > 0
            Layout.fillWidth: true
            text: row.runningText
            color: Theme.review
            font.pixelSize: Theme.sizeBody - 1
            wrapMode: Text.Wrap
            textFormat: Text.PlainText
        }
        Text {
            visible: row.uncheckedText.length > 0
            Layout.fillWidth: true
            text: row.uncheckedText
            color: Theme.review
            font.pixelSize: Theme.sizeBody - 1
            wrapMode: Text.Wrap
            textFormat: Text.PlainText
        }
    }

    // By keys: Space, and the menu of the row. The Tab key would else stop at every item.
    Row {
        id: buttons
        anchors.right: parent.right
        anchors.rightMargin: row.margin - Theme.space2
        y: Theme.space2

        AppIconButton {
            icon.name: "reveal"
            text: qsTr("Show in %1").arg(Words.fileManagerButton)
            focusPolicy: Qt.NoFocus
            onClicked: {
                row.chosen();
                row.revealed();
            }
        }
        AppIconButton {
            visible: row.canDrop
            icon.name: "unmark"
            text: qsTr("Remove from Queue")
            focusPolicy: Qt.NoFocus
            onClicked: {
                row.chosen();
                row.dropped();
            }
        }
    }

    Hairline {
        visible: row.index > 0
        width: parent.width
    }
    FocusRing {
        gap: -3
        shown: row.isCurrent
    }
}
