import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The disk tab: the start page, a scan under way, or its result.
T.Control {
    id: tab

    required property MainView view
    readonly property DiskScannerViewModel driver: view.scannerViewModel
    readonly property DiskSpacePresenter presenter: view.diskSpace

    Component.onCompleted: driver.restoreSavedScanIfNeeded()

    Toolbar {
        id: toolbar
        anchors.left: parent.left
        anchors.right: parent.right
        readonly property bool showsMap: tab.view.diskPage === MainView.Scanning || tab.view.diskPage === MainView.Result
        title: showsMap ? tab.presenter.title : qsTr("Disk Space")
        path: showsMap ? tab.presenter.path : ""

        AppButton {
            visible: tab.view.canReturnToMap
            text: qsTr("Back to Map")
            icon.name: "back"
            onClicked: tab.view.returnToMap()
        }
        AppButton {
            visible: tab.driver.isScanning
            text: qsTr("Cancel")
            icon.name: "stop"
            toolTip: tab.driver.isRefreshingIndex ? qsTr("Leaves the map as it was; what is done stays done") : ""
            onClicked: tab.driver.cancelScan()
        }
        AppButton {
            id: refresh
            objectName: "refreshButton"
            visible: tab.view.diskPage === MainView.Result && !tab.driver.isScanning
            text: qsTr("Refresh")
            icon.name: "refresh"
            enabled: !tab.driver.isDeleting
            toolTip: refreshMenu.visible ? "" : qsTr("Scans what changed since")
            Accessible.role: Accessible.ButtonMenu
            onClicked: refreshMenu.popup(refresh, 0, refresh.height + Theme.space1)

            RefreshMenu {
                id: refreshMenu
                presenter: tab.presenter
                driver: tab.driver
            }
        }
        AppButton {
            visible: tab.view.diskPage === MainView.Result && !tab.driver.isScanning
            text: qsTr("New Scan")
            icon.name: "plus"
            enabled: !tab.driver.isDeleting
            onClicked: tab.view.startNewScan()
        }
        AppButton {
            visible: tab.driver.isDeleting
            text: qsTr("Cancel")
            icon.name: "stop"
            toolTip: qsTr("Finishes the item that is under way and leaves the rest where it is")
            enabled: !tab.driver.isStoppingDeletion
            onClicked: tab.driver.cancelDeletion()
        }
        AppButton {
            visible: tab.view.diskPage === MainView.Result && !tab.driver.isDeleting
            Layout.leftMargin: Theme.space2
            kind: AppButton.Destructive
            text: qsTr("Delete Selected")
            icon.name: "trash"
            toolTip: qsTr("Shows what is marked before anything is removed")
            enabled: tab.presenter.markedItems > 0 && !tab.driver.isScanning
            onClicked: tab.view.reviewMarked()
        }
    }

    Loader {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: toolbar.bottom
        anchors.bottom: parent.bottom
        focus: true
        sourceComponent: {
            switch (tab.view.diskPage) {
            case MainView.Restoring:
                return restoringPage;
            case MainView.Scanning:
                return scanningPage;
            case MainView.Result:
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
            view: tab.view
        }
    }
    Component {
        id: restoringPage

        RestoringView {
            presenter: tab.presenter
        }
    }
    Component {
        id: scanningPage

        ScanningView {
            presenter: tab.presenter
            driver: tab.driver
        }
    }
    Component {
        id: resultPage

        ResultView {
            presenter: tab.presenter
            driver: tab.driver
            onForgetRequested: tab.view.forgetIndexConfirmation = true
            onReviewRequested: tab.view.reviewMarked()
        }
    }
    // qmllint enable unqualified
}
