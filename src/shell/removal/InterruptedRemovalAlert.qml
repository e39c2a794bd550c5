import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// Asks about an item that lies aside since the program ended while it was removing it. Return brings it back; Escape leaves it
// where it lies.
AppDialog {
    id: alert

    required property InterruptedRemovalModel removal

    visible: removal.isAsking
    iconName: "history"
    title: removal.title
    text: removal.text
    note: removal.place
    preferredWidth: 520 * Theme.typeScale
    actions: [leave, restore]
    defaultAction: restore
    cancelAction: leave

    AppButton {
        text: qsTr("Show in %1").arg(Words.fileManagerButton)
        onClicked: alert.removal.reveal()
    }
    AppLabel {
        visible: text.length > 0
        Layout.fillWidth: true
        text: alert.removal.revealProblem
        wrapMode: Text.Wrap
    }

    T.Action {
        id: leave
        text: qsTr("Leave It")
        onTriggered: alert.removal.leave()
    }
    T.Action {
        id: restore
        text: qsTr("Restore")
        onTriggered: alert.removal.restore()
    }
}
