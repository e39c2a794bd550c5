import QtQuick
import Larkfold.Shell

// A command that can be selected, and copied with one press.
Rectangle {
    id: box

    property string command: ""

    signal copied

    implicitHeight: Math.max(line.implicitHeight, copy.implicitHeight) + 2 * Theme.space2
    radius: Theme.radiusControl
    color: Theme.rowAlternate
    border.width: 1
    border.color: Theme.hairline

    TextEdit {
        id: line
        anchors.left: parent.left
        anchors.right: copy.left
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: Theme.space3
        text: box.command
        readOnly: true
        selectByMouse: true
        wrapMode: TextEdit.WrapAnywhere
        textFormat: TextEdit.PlainText
        color: Theme.text
        selectionColor: Theme.accentFill
        selectedTextColor: Theme.textOnAccent
        font.family: "monospace"
        font.pixelSize: Theme.sizeBody
        Accessible.role: Accessible.EditableText
        Accessible.name: qsTr("Command")
        Accessible.readOnly: true
    }
    AppIconButton {
        id: copy
        anchors.right: parent.right
        anchors.rightMargin: Theme.space2
        anchors.verticalCenter: parent.verticalCenter
        icon.name: "copy"
        text: qsTr("Copy Command")
        onClicked: box.copied()
    }
}
