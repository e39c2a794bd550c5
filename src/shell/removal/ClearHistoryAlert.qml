import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// Asks before the records of past removals go.
AppDialog {
    id: alert

    required property CleanupHistoryModel history

    visible: history.clearConfirmation
    iconName: "history"
    title: qsTr("Clear cleanup history?")
    text: qsTr("Recorded paths and operation results will be removed. Files in Trash will remain there.")
    actions: [cancel, clear]
    defaultAction: cancel
    cancelAction: cancel
    destructiveAction: clear

    T.Action {
        id: cancel
        text: qsTr("Cancel")
        onTriggered: alert.history.clearConfirmation = false
    }
    T.Action {
        id: clear
        text: qsTr("Clear history")
        onTriggered: alert.history.clear()
    }
}
