import QtQuick
import QtQuick.Dialogs as D
import Larkfold.Shell

// The desktop's own folder dialog, or the toolkit's where there is none.
Item {
    id: root

    required property QmlFolderChooser chooser

    function ask() {
        dialog.open();
    }

    D.FolderDialog {
        id: dialog
        title: root.chooser.message
        currentFolder: root.chooser.startFolder
        onAccepted: root.chooser.accept(selectedFolder)
        onRejected: root.chooser.reject()
    }
}
