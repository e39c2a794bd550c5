import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// Asks before the saved scan of a folder that is empty now gives way to an empty one.
AppDialog {
    id: alert

    required property RescanCheck check

    visible: check.asksUser
    iconName: "folder"
    title: qsTr("This folder is empty now")
    text: check.question
    actions: [keep, replace]
    defaultAction: keep
    cancelAction: keep
    destructiveAction: replace

    T.Action {
        id: keep
        text: qsTr("Keep Saved Scan")
        onTriggered: alert.check.keepSavedScan()
    }
    T.Action {
        id: replace
        text: qsTr("Replace Saved Scan")
        onTriggered: alert.check.replaceSavedScan()
    }
}
