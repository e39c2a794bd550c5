import QtQuick
import Larkfold.Shell

// What is told of removals whichever tab is open: how far each is, and the banner of the latest; and over the window the
// review before one and what an interrupted one left.
Column {
    id: views

    required property RemovalPresenter removal
    required property int selectedTab
    property bool historyIsOnScreen: false

    Repeater {
        model: views.removal.runs

        // qmllint disable unqualified
        RemovalProgressStrip {
            required property RemovalProgressPresenter modelData
            width: views.width
            presenter: modelData
            offersCancel: views.selectedTab !== modelData.tab
        }
        // qmllint enable unqualified
    }
    CleanupResultBanner {
        width: views.width
        result: views.removal.result
        offersHistory: !views.historyIsOnScreen
        onShowHistory: views.removal.showHistory()
    }

    // Made when they are first needed, and kept: what they leave gets the keyboard back.
    Loader {
        id: review
        active: false
        // qmllint disable unqualified
        sourceComponent: CleanupReviewView {
            review: views.removal.review
        }
        // qmllint enable unqualified
    }
    // Above the review, which stays open below it.
    Loader {
        id: permanentDeletion
        active: false
        // qmllint disable unqualified
        sourceComponent: PermanentDeletionAlert {
            review: views.removal.review
        }
        // qmllint enable unqualified
    }
    Connections {
        target: views.removal.review

        function onIsOpenChanged() {
            review.active = true;
        }

        function onDecisionChanged() {
            if (views.removal.review.showPermanentConfirmation) {
                permanentDeletion.active = true;
            }
        }
    }

    Loader {
        id: clearHistory
        active: false
        // qmllint disable unqualified
        sourceComponent: ClearHistoryAlert {
            history: views.removal.history
        }
        // qmllint enable unqualified
    }
    Connections {
        target: views.removal.history

        function onClearConfirmationChanged() {
            clearHistory.active = true;
        }
    }

    // Made when they are first needed; what the first asks about may be known before this stands.
    Loader {
        id: interruptedRemoval
        active: false
        Component.onCompleted: active = views.removal.interrupted.isAsking
        // qmllint disable unqualified
        sourceComponent: InterruptedRemovalAlert {
            removal: views.removal.interrupted
        }
        // qmllint enable unqualified
    }
    Loader {
        id: interruptedRemovalOutcome
        active: false
        // qmllint disable unqualified
        sourceComponent: InterruptedRemovalOutcome {
            removal: views.removal.interrupted
        }
        // qmllint enable unqualified
    }
    Connections {
        target: views.removal.interrupted

        function onChanged() {
            if (views.removal.interrupted.isAsking) {
                interruptedRemoval.active = true;
            } else if (views.removal.interrupted.isTold) {
                interruptedRemovalOutcome.active = true;
            }
        }
    }
}
