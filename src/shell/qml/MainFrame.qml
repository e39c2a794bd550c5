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

    // The dialog's own module is loaded when it is first needed.
    Loader {
        id: chooser
        active: false
        source: "FolderChooserDialog.qml"
        onLoaded: (item as FolderChooserDialog).ask()
    }
    Connections {
        target: frame.view.folderChooser

        function onRequested() {
            if (chooser.item) {
                (chooser.item as FolderChooserDialog).ask();
            } else {
                chooser.setSource("FolderChooserDialog.qml", {
                    "chooser": frame.view.folderChooser
                });
                chooser.active = true;
            }
        }
    }
}
