import QtQuick
import Larkfold.Shell

// What can be scanned again, from the least work to the most.
AppMenu {
    id: menu

    required property DiskCommands can

    AppMenuItem {
        objectName: "refreshChanged"
        command: menu.can.refreshChanged
    }
    AppMenuItem {
        objectName: "refreshCurrent"
        command: menu.can.refreshCurrent
    }
    AppMenuSeparator {}
    AppMenuItem {
        objectName: "scanAgain"
        command: menu.can.scanAgain
    }
}
