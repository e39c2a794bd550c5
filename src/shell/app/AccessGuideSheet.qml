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

    CommandBox {
        visible: command.length > 0
        Layout.fillWidth: true
        command: sheet.permissionManager.settingsCommand
        onCopied: sheet.permissionManager.copySettingsCommand()
    }
}
