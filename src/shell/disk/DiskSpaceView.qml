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
    readonly property DiskCommands can: tab.can

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
            visible: page.can.cancelScan.enabled
            command: page.can.cancelScan
            text: qsTr("Cancel")
            toolTip: page.driver.isRefreshingIndex ? qsTr("Leaves the map as it was; what is done stays done") : ""
        }
        AppButton {
            id: refresh
            objectName: "refreshButton"
            visible: page.tab.page === DiskSpaceTab.Result && !page.driver.isScanning
            text: qsTr("Refresh")
            icon.name: "refresh"
            enabled: page.can.busyReason.length === 0
            toolTip: refreshMenu.visible ? "" : qsTr("Scans what changed since")
            whyNot: page.can.busyReason
            Accessible.role: Accessible.ButtonMenu
            onClicked: refreshMenu.popup(refresh, 0, refresh.height + Theme.space1)

            RefreshMenu {
                id: refreshMenu
                can: page.can
            }
        }
        AppButton {
            visible: page.tab.page === DiskSpaceTab.Result && !page.driver.isScanning
            command: page.can.newScan
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
            command: page.can.review
            toolTip: qsTr("Shows what is marked before anything is removed")
        }
    }

    BusyStrip {
        id: strip
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: toolbar.bottom
        height: visible ? implicitHeight : 0
        presenter: page.presenter
        isPrompt: page.driver.isRefreshingIndex
    }

    Loader {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: strip.bottom
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
            can: page.can
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
        id: emptyFolder
        active: false
        // qmllint disable unqualified
        sourceComponent: EmptyFolderAlert {
            check: page.driver.rescanCheck
        }
        // qmllint enable unqualified
    }
    Connections {
        target: page.driver.rescanCheck

        function onChanged() {
            emptyFolder.active = emptyFolder.active || page.driver.rescanCheck.asksUser;
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
