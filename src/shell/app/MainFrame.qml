import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The frame of tabs: the sidebar, and beside it the tab that is selected, below what is told of removals.
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

    RemovalViews {
        id: removal
        anchors.left: sidebar.right
        anchors.right: parent.right
        removal: frame.view.removal
        selectedTab: frame.view.selectedTab
        historyIsOnScreen: frame.view.historyIsOnScreen
    }

    Repeater {
        model: frame.view.tabs

        // qmllint disable unqualified
        TabLoader {
            anchors.left: sidebar.right
            anchors.right: parent?.right
            anchors.top: removal.bottom
            anchors.bottom: parent?.bottom
            view: frame.view
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
