import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// Asks before the saved index goes.
AppDialog {
    id: alert

    required property MainView view

    visible: view.forgetIndexConfirmation
    iconName: "disk"
    title: qsTr("Forget saved scan?")
    text: qsTr("This removes the saved file index from this %1. Your files and the current on-screen scan are preserved.").arg(Words.computer)
    actions: [cancel, forget]
    defaultAction: cancel
    cancelAction: cancel
    destructiveAction: forget

    T.Action {
        id: cancel
        text: qsTr("Cancel")
        onTriggered: alert.view.forgetIndexConfirmation = false
    }
    T.Action {
        id: forget
        text: qsTr("Forget")
        onTriggered: alert.view.forgetSavedScan()
    }
}
