import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The page of the disk tab: the start page, a scan under way, or its result.
T.Control {
    id: page

    required property MainView view
    required property DiskSpaceTab tab
    readonly property DiskScannerViewModel driver: tab.driver
    readonly property DiskSpacePresenter presenter: tab.presenter

    Component.onCompleted: driver.restoreSavedScanIfNeeded()

    Toolbar {
        id: toolbar
        anchors.left: parent.left
        anchors.right: parent.right
        readonly property bool showsMap: page.tab.page === DiskSpaceTab.Scanning || page.tab.page === DiskSpaceTab.Result
        title: showsMap ? page.presenter.title : qsTr("Disk Space")
        path: showsMap ? page.presenter.path : ""

        AppButton {
            visible: page.tab.canReturnToMap
            text: qsTr("Back to Map")
            icon.name: "back"
            onClicked: page.tab.returnToMap()
        }
        AppButton {
            visible: page.driver.isScanning
            text: qsTr("Cancel")
            icon.name: "stop"
            toolTip: page.driver.isRefreshingIndex ? qsTr("Leaves the map as it was; what is done stays done") : ""
            onClicked: page.driver.cancelScan()
        }
        AppButton {
            id: refresh
            objectName: "refreshButton"
            visible: page.tab.page === DiskSpaceTab.Result && !page.driver.isScanning
            text: qsTr("Refresh")
            icon.name: "refresh"
            enabled: !page.driver.isDeleting
            toolTip: refreshMenu.visible ? "" : qsTr("Scans what changed since")
            Accessible.role: Accessible.ButtonMenu
            onClicked: refreshMenu.popup(refresh, 0, refresh.height + Theme.space1)

            RefreshMenu {
                id: refreshMenu
                presenter: page.presenter
                driver: page.driver
            }
        }
        AppButton {
            visible: page.tab.page === DiskSpaceTab.Result && !page.driver.isScanning
            text: qsTr("New Scan")
            icon.name: "plus"
            enabled: !page.driver.isDeleting
            onClicked: page.view.startNewScan()
        }
        AppButton {
            visible: page.driver.isDeleting
            text: qsTr("Cancel")
            icon.name: "stop"
            toolTip: qsTr("Finishes the item that is under way and leaves the rest where it is")
            enabled: !page.driver.removalRun.isStopping
            onClicked: page.driver.cancelDeletion()
        }
        AppButton {
            visible: page.tab.page === DiskSpaceTab.Result && !page.driver.isDeleting
            Layout.leftMargin: Theme.space2
            kind: AppButton.Destructive
            text: qsTr("Delete Selected")
            icon.name: "trash"
            toolTip: qsTr("Shows what is marked before anything is removed")
            enabled: page.tab.canReview
            onClicked: page.tab.review()
        }
    }

    Loader {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: toolbar.bottom
        anchors.bottom: parent.bottom
        focus: true
        sourceComponent: {
            switch (page.tab.page) {
            case DiskSpaceTab.Restoring:
                return restoringPage;
            case DiskSpaceTab.Scanning:
                return scanningPage;
            case DiskSpaceTab.Result:
                return resultPage;
            default:
                return startPage;
            }
        }
    }

    // qmllint disable unqualified
    Component {
        id: startPage

        StartPage {
            view: page.view
            tab: page.tab
        }
    }
    Component {
        id: restoringPage

        RestoringView {
            presenter: page.presenter
        }
    }
    Component {
        id: scanningPage

        ScanningView {
            presenter: page.presenter
            driver: page.driver
        }
    }
    Component {
        id: resultPage

        ResultView {
            presenter: page.presenter
            driver: page.driver
            onForgetRequested: page.view.forgetIndexConfirmation = true
            onReviewRequested: page.tab.review()
        }
    }
    // qmllint enable unqualified

    // Made when it is first needed, and kept: what it leaves gets the keyboard back.
    Loader {
        id: forgetScan
        active: false
        // qmllint disable unqualified
        sourceComponent: ForgetScanAlert {
            view: page.view
        }
        // qmllint enable unqualified
    }
    Connections {
        target: page.view

        function onForgetIndexConfirmationChanged() {
            forgetScan.active = true;
        }
    }
    Loader {
        active: page.view.showFullDiskAccessAlert
        // qmllint disable unqualified
        sourceComponent: FullDiskAccessAlert {
            view: page.view
            visible: true
        }
        // qmllint enable unqualified
    }
    Loader {
        active: page.tab.showDiskAccessIssue
        // qmllint disable unqualified
        sourceComponent: DiskAccessIssueAlert {
            driver: page.driver
            permissionManager: page.view.permissionManager
            visible: true
        }
        // qmllint enable unqualified
    }
}
