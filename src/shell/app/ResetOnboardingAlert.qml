import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// Asks before the first run's pages are to come once more.
AppDialog {
    id: alert

    required property Settings settings

    iconName: "refresh"
    title: qsTr("Reset Onboarding")
    text: qsTr("The onboarding screens will be shown next time you open Larkfold.")
    actions: [cancel, reset]
    defaultAction: reset
    cancelAction: cancel

    T.Action {
        id: cancel
        text: qsTr("Cancel")
        onTriggered: alert.settings.showResetOnboardingAlert = false
    }
    T.Action {
        id: reset
        text: qsTr("Reset")
        onTriggered: alert.settings.resetOnboarding()
    }
}
