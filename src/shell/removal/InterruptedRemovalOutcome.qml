import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// Tells what came of bringing back an item that lay aside: where it is now, or why it stayed.
AppDialog {
    id: outcome

    required property InterruptedRemovalModel removal

    visible: removal.isTold
    iconName: removal.isRestored ? "check-circle" : "warning"
    iconColor: removal.isRestored ? Theme.safe : Theme.review
    title: removal.title
    text: removal.text
    preferredWidth: 520 * Theme.typeScale
    actions: [close]
    defaultAction: close
    cancelAction: close

    AppButton {
        text: qsTr("Show in %1").arg(Words.fileManagerButton)
        onClicked: outcome.removal.reveal()
    }
    AppLabel {
        visible: text.length > 0
        Layout.fillWidth: true
        text: outcome.removal.revealProblem
        wrapMode: Text.Wrap
    }

    T.Action {
        id: close
        text: qsTr("Close")
        onTriggered: outcome.removal.leave()
    }
}
