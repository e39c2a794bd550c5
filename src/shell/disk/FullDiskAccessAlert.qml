import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The advice before a scan of the whole disk without full access.
AppDialog {
    id: alert

    required property MainView view

    iconName: "shield"
    title: qsTr("Full Disk Access Recommended")
    text: qsTr("Larkfold can scan the startup disk now, but %1 will skip protected Mail, Safari, Messages, and app-container data until Full Disk Access is enabled.").arg(Words.system)
    actions: [cancel, settings, scan]
    defaultAction: scan
    cancelAction: cancel
    onClosed: view.showFullDiskAccessAlert = false

    T.Action {
        id: cancel
        text: qsTr("Cancel")
    }
    T.Action {
        id: settings
        text: qsTr("Open %1").arg(Words.settings)
        onTriggered: alert.view.permissionManager.openFullDiskAccessSettings()
    }
    T.Action {
        id: scan
        text: qsTr("Scan Available Areas")
        onTriggered: alert.view.scanAvailableAreas()
    }
}
