import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A scan that failed for want of permission.
AppDialog {
    id: alert

    required property DiskScannerViewModel driver
    required property PermissionManager permissionManager

    iconName: "lock"
    iconColor: Theme.review
    title: qsTr("Disk Access Issue")
    text: driver.error
    actions: [dismiss, settings]
    defaultAction: settings
    cancelAction: dismiss

    T.Action {
        id: dismiss
        text: qsTr("OK")
        onTriggered: alert.driver.dismissError()
    }
    T.Action {
        id: settings
        text: qsTr("Open %1").arg(Words.settings)
        onTriggered: {
            alert.driver.dismissError();
            alert.permissionManager.openFullDiskAccessSettings();
        }
    }
}
