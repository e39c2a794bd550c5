import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The frame of tabs: the sidebar, and beside it the tab that is selected.
T.Control {
    id: frame

    required property LarkfoldApp app
    required property MainView view

    focusPolicy: Qt.NoFocus

    Sidebar {
        id: sidebar
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        app: frame.app
        view: frame.view
        narrow: frame.width < 1040 * Theme.typeScale
    }

    RemovalProgressStrip {
        id: removal
        anchors.left: sidebar.right
        anchors.right: parent.right
        presenter: frame.view.diskSpace
        driver: frame.view.scannerViewModel
        offersCancel: frame.view.selectedTab !== 0
    }
    CleanupResultBanner {
        id: banner
        anchors.left: sidebar.right
        anchors.right: parent.right
        anchors.top: removal.bottom
        result: frame.view.cleanupResult
        onShowHistory: frame.view.showCleanupHistory()
    }

    TabLoader {
        anchors.left: sidebar.right
        anchors.right: parent.right
        anchors.top: banner.bottom
        anchors.bottom: parent.bottom
        view: frame.view
        value: 0
        // qmllint disable unqualified
        sourceComponent: DiskSpaceView {
            view: frame.view
        }
        // qmllint enable unqualified
    }
    TabLoader {
        anchors.left: sidebar.right
        anchors.right: parent.right
        anchors.top: banner.bottom
        anchors.bottom: parent.bottom
        view: frame.view
        value: 5
        // qmllint disable unqualified
        sourceComponent: CleanupHistoryView {
            history: frame.view.cleanupHistory
        }
        // qmllint enable unqualified
    }

    // Made when they are first needed, and kept: what they leave gets the keyboard back.
    Loader {
        id: review
        active: false
        // qmllint disable unqualified
        sourceComponent: CleanupReviewView {
            review: frame.view.cleanupReview
        }
        // qmllint enable unqualified
    }
    // Above the review, which stays open below it.
    Loader {
        id: permanentDeletion
        active: false
        // qmllint disable unqualified
        sourceComponent: PermanentDeletionAlert {
            review: frame.view.cleanupReview
        }
        // qmllint enable unqualified
    }
    Connections {
        target: frame.view.cleanupReview

        function onIsOpenChanged() {
            review.active = true;
        }

        function onDecisionChanged() {
            if (frame.view.cleanupReview.showPermanentConfirmation) {
                permanentDeletion.active = true;
            }
        }
    }
    Loader {
        id: clearHistory
        active: false
        // qmllint disable unqualified
        sourceComponent: ClearHistoryAlert {
            history: frame.view.cleanupHistory
        }
        // qmllint enable unqualified
    }
    Connections {
        target: frame.view.cleanupHistory

        function onClearConfirmationChanged() {
            clearHistory.active = true;
        }
    }

    // Made when they are first needed; what the first asks about may be known before this frame stands.
    Loader {
        id: interruptedRemoval
        active: false
        Component.onCompleted: active = frame.view.interruptedRemoval.isAsking
        // qmllint disable unqualified
        sourceComponent: InterruptedRemovalAlert {
            removal: frame.view.interruptedRemoval
        }
        // qmllint enable unqualified
    }
    Loader {
        id: interruptedRemovalOutcome
        active: false
        // qmllint disable unqualified
        sourceComponent: InterruptedRemovalOutcome {
            removal: frame.view.interruptedRemoval
        }
        // qmllint enable unqualified
    }
    Connections {
        target: frame.view.interruptedRemoval

        function onChanged() {
            if (frame.view.interruptedRemoval.isAsking) {
                interruptedRemoval.active = true;
            } else if (frame.view.interruptedRemoval.isTold) {
                interruptedRemovalOutcome.active = true;
            }
        }
    }

    // Made when it is first needed, and kept: what it leaves gets the keyboard back.
    Loader {
        id: forgetScan
        active: false
        // qmllint disable unqualified
        sourceComponent: ForgetScanAlert {
            view: frame.view
        }
        // qmllint enable unqualified
    }
    Connections {
        target: frame.view

        function onForgetIndexConfirmationChanged() {
            forgetScan.active = true;
        }
    }

    Loader {
        active: frame.view.showFullDiskAccessAlert
        // qmllint disable unqualified
        sourceComponent: FullDiskAccessAlert {
            view: frame.view
            visible: true
        }
        // qmllint enable unqualified
    }
    Loader {
        active: frame.view.showDiskAccessIssue
        // qmllint disable unqualified
        sourceComponent: DiskAccessIssueAlert {
            view: frame.view
            visible: true
        }
        // qmllint enable unqualified
    }

    // Made when it is first needed, and kept: what it leaves gets the keyboard back.
    Loader {
        id: chooser
        active: false
        // qmllint disable unqualified
        sourceComponent: FolderChooserDialog {
            chooser: frame.view.folderChooser
        }
        // qmllint enable unqualified
    }
    Connections {
        target: frame.view.folderChooser

        function onIsOpenChanged() {
            chooser.active = true;
        }
    }
}
