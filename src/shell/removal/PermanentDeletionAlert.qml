import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The second decision before anything goes for good. Return and Escape mean "Cancel", which leads back to the review.
AppDialog {
    id: alert

    required property CleanupReviewModel review

    visible: review.showPermanentConfirmation
    iconName: "warning"
    iconColor: Theme.removal
    title: review.permanentConfirmationTitle
    text: qsTr("These files will bypass Trash and cannot be restored from cleanup history.")
    actions: [cancel, destroy]
    defaultAction: cancel
    cancelAction: cancel
    destructiveAction: destroy

    T.Action {
        id: cancel
        text: qsTr("Cancel")
        onTriggered: alert.review.cancelPermanentConfirmation()
    }
    T.Action {
        id: destroy
        text: qsTr("Delete Permanently")
        onTriggered: alert.review.confirmPermanentDeletion()
    }
}
