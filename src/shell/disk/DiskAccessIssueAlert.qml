import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A scan that failed for want of permission.
AppDialog {
    id: alert

    required property MainView view

    iconName: "lock"
    iconColor: Theme.review
    title: qsTr("Disk Access Issue")
    text: view.scannerViewModel.error
    actions: [dismiss, settings]
    defaultAction: settings
    cancelAction: dismiss

    T.Action {
        id: dismiss
        text: qsTr("OK")
        onTriggered: alert.view.scannerViewModel.dismissError()
    }
    T.Action {
        id: settings
        text: qsTr("Open System Settings")
        onTriggered: {
            alert.view.scannerViewModel.dismissError();
            alert.view.permissionManager.openFullDiskAccessSettings();
        }
    }
}
