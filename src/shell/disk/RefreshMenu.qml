import QtQuick
import Larkfold.Shell

// What can be scanned again, from the least work to the most.
AppMenu {
    id: menu

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver

    AppMenuItem {
        objectName: "refreshChanged"
        text: menu.presenter.changedFoldersText
        icon.name: "refresh"
        enabled: menu.driver.changedFolderCount > 0
        shortcutText: "F5"
        onTriggered: menu.driver.refreshIndex(false)
    }
    AppMenuItem {
        objectName: "refreshCurrent"
        text: qsTr("Current folder")
        icon.name: "folder"
        enabled: menu.driver.hasSavedIndex
        onTriggered: menu.driver.refreshIndex(true)
    }
    AppMenuSeparator {}
    AppMenuItem {
        objectName: "scanAgain"
        text: qsTr("Scan Everything Again")
        icon.name: "disk"
        onTriggered: menu.driver.rescanCurrent()
    }
}
