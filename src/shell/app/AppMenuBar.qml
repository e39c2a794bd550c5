pragma ComponentBehavior: Bound

import QtQuick
import QtQml
import QtQuick.Templates as T
import Larkfold.Shell

// The menus with all commands. Those that concern the window's content go out as notifications.
T.MenuBar {
    id: bar

    required property LarkfoldApp app
    readonly property MainView view: app.mainView

    // Those of the tab on screen.
    function commandsOf(menu: int): var {
        return view ? Array.from(view.current.commands).filter(command => command.menu === menu) : [];
    }

    signal helpRequested
    signal quitRequested

    implicitWidth: contentWidth + leftPadding + rightPadding
    implicitHeight: Math.max(Theme.minimumTarget + 2, contentHeight + topPadding + bottomPadding)
    contentWidth: row.implicitWidth
    contentHeight: row.implicitHeight
    leftPadding: Theme.space1
    delegate: AppMenuBarItem {}

    contentItem: Row { // qmllint disable deferred-property-id
        id: row
        Repeater {
            model: bar.contentModel
        }
    }

    background: Rectangle {
        color: Theme.sidebar

        Hairline {
            anchors.bottom: parent.bottom
            width: parent.width
        }
    }

    // What concerns the program itself and not what it shows.
    AppMenu {
        title: qsTr("&Larkfold")

        AppMenuItem {
            action: T.Action {
                text: qsTr("Settings…")
                shortcut: "Ctrl+,"
                onTriggered: bar.app.showSettings = true
            }
            shortcutText: "Ctrl+,"
        }
        AppMenuItem {
            action: T.Action {
                text: qsTr("Check for Updates…")
                enabled: bar.app.updateManager.canCheckForUpdates
                onTriggered: bar.app.updateManager.checkForUpdates()
            }
        }
        AppMenuSeparator {}
        AppMenuItem {
            action: T.Action {
                text: qsTr("Quit Larkfold")
                shortcut: "Ctrl+Q"
                onTriggered: bar.quitRequested()
            }
            shortcutText: "Ctrl+Q"
        }
    }
    AppMenu {
        id: fileMenu
        title: qsTr("&File")

        AppMenuItem {
            action: T.Action {
                text: qsTr("New Scan")
                shortcut: "Ctrl+N"
                enabled: bar.view !== null && bar.view.newScan.enabled
                onTriggered: bar.view.newScan.trigger()
            }
            shortcutText: "Ctrl+N"
            reason: bar.view ? bar.view.newScan.reason : ""
        }
        Instantiator {
            model: bar.commandsOf(Command.File)
            onObjectAdded: (index, object) => fileMenu.insertItem(1 + index, object)
            onObjectRemoved: (index, object) => fileMenu.removeItem(object)

            CommandItem {}
        }
        AppMenuItem {
            action: T.Action {
                text: qsTr("Cancel Scan")
                shortcut: "Ctrl+."
                enabled: bar.view !== null && bar.view.cancelScan.enabled
                onTriggered: bar.view.cancelScan.trigger()
            }
            shortcutText: "Ctrl+."
            reason: bar.view ? bar.view.cancelScan.reason : ""
        }
        AppMenuSeparator {}
        AppMenuItem {
            action: T.Action {
                text: qsTr("Delete Selected")
                enabled: bar.view !== null && bar.view.tabToReview !== null
                onTriggered: bar.view.tabToReview.review()
            }
            shortcutText: qsTr("Delete")
            reason: bar.view ? bar.view.current.whyNoReview : ""
        }
    }
    AppMenu {
        id: tabMenu
        title: qsTr("&View")

        Instantiator {
            model: bar.app.tabRows
            onObjectAdded: (index, object) => tabMenu.insertItem(index, object)
            onObjectRemoved: (index, object) => tabMenu.removeItem(object)

            AppMenuItem {
                id: tabItem

                required property var modelData

                action: T.Action {
                    text: tabItem.modelData.title
                    shortcut: tabItem.modelData.shortcut
                    enabled: bar.view !== null
                    onTriggered: bar.app.showTab(tabItem.modelData.value)
                }
                shortcutText: tabItem.modelData.shortcut
            }
        }
    }
    AppMenu {
        title: qsTr("&Go")

        AppMenuItem {
            action: T.Action {
                text: qsTr("Back")
                enabled: bar.view !== null && bar.view.current.canGoBack
                onTriggered: bar.view.current.goBack()
            }
            shortcutText: "Alt+Left"
        }
        AppMenuItem {
            action: T.Action {
                text: qsTr("Back to Map")
                enabled: bar.view !== null && bar.view.canReturnToMap
                onTriggered: bar.view.returnToMap()
            }
        }
    }
    AppMenu {
        title: qsTr("&Help")

        AppMenuItem {
            action: T.Action {
                text: qsTr("Larkfold Help")
                shortcut: "F1"
                onTriggered: bar.helpRequested()
            }
            shortcutText: "F1"
        }
        AppMenuItem {
            action: T.Action {
                text: qsTr("Privacy Policy")
                onTriggered: bar.app.showPrivacyPolicy = true
            }
        }
    }
}
