import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The frame of tabs: the sidebar, and beside it the tab that is selected.
T.Control {
    id: frame

    required property MainView view

    focusPolicy: Qt.NoFocus

    Sidebar {
        id: sidebar
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        view: frame.view
        narrow: frame.width < 1040 * Theme.typeScale
    }

    Loader {
        anchors.left: sidebar.right
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        focus: true
        active: frame.view.selectedTab === 0
        // qmllint disable unqualified
        sourceComponent: DiskSpaceView {
            view: frame.view
        }
        // qmllint enable unqualified
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
