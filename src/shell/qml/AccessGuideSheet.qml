import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// How to grant access on a system whose settings have no page for it.
AppDialog {
    id: sheet

    required property PermissionManager permissionManager

    iconName: "shield"
    preferredWidth: 520 * Theme.typeScale
    title: qsTr("Protected Folder Access")
    text: permissionManager.settingsGuide
    actions: [check, done]
    defaultAction: done
    cancelAction: done
    onClosed: permissionManager.showSettingsGuide = false

    T.Action {
        id: check
        text: qsTr("Check Again")
        onTriggered: sheet.permissionManager.checkFullDiskAccess()
    }
    T.Action {
        id: done
        text: qsTr("Done")
    }

    Rectangle {
        visible: sheet.permissionManager.settingsCommand.length > 0
        Layout.fillWidth: true
        implicitHeight: command.implicitHeight + 2 * Theme.space3
        radius: Theme.radiusControl
        color: Theme.rowAlternate
        border.width: 1
        border.color: Theme.hairline

        TextEdit {
            id: command
            anchors.left: parent.left
            anchors.right: copy.left
            anchors.verticalCenter: parent.verticalCenter
            anchors.leftMargin: Theme.space3
            text: sheet.permissionManager.settingsCommand
            readOnly: true
            selectByMouse: true
            wrapMode: TextEdit.WrapAnywhere
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
            onClicked: sheet.permissionManager.copySettingsCommand()
        }
    }
}
