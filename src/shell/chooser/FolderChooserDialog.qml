pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The window's own dialog for choosing a folder, for desktops that have none.
AppDialog {
    id: dialog

    required property QmlFolderChooser chooser
    readonly property FolderChooserModel model: chooser.model

    iconName: "folder-open"
    title: chooser.message
    preferredWidth: 760 * Theme.typeScale
    visible: chooser.isOpen
    onOpened: list.forceActiveFocus(Qt.TabFocusReason)
    onRejected: chooser.reject()

    ColumnLayout {
        Layout.fillWidth: true
        Layout.fillHeight: true
        spacing: Theme.space3

        Keys.onPressed: event => dialog.handleKey(event)

        FolderChooserPathBar {
            Layout.fillWidth: true
            model: dialog.model
            onFinished: list.forceActiveFocus(Qt.TabFocusReason)
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: 3 * Theme.rowHeight
            Layout.preferredHeight: 340 * Theme.typeScale
            spacing: Theme.space3

            FolderChooserPlaces {
                Layout.preferredWidth: 176 * Theme.typeScale
                Layout.fillHeight: true
                model: dialog.model
                onFinished: list.forceActiveFocus(Qt.TabFocusReason)
            }
            FolderChooserList {
                id: list
                Layout.fillWidth: true
                Layout.fillHeight: true
                model: dialog.model
            }
        }

        AppCheckBox {
            text: qsTr("Show hidden folders")
            checked: dialog.model.showsHiddenFolders
            onToggled: dialog.model.showsHiddenFolders = checked
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space2

            AppLabel {
                text: qsTr("Folder:")
                secondary: true
                Accessible.ignored: true
            }
            AppLabel {
                objectName: "folderChoice"
                Layout.fillWidth: true
                text: dialog.model.choiceText
                elide: Text.ElideMiddle
                Accessible.name: qsTr("Folder to open: %1").arg(text)
            }
            AppButton {
                text: qsTr("Cancel")
                onClicked: dialog.chooser.reject()
            }
            AppButton {
                text: qsTr("Open")
                kind: AppButton.Primary
                enabled: dialog.model.canAccept && !dialog.model.isTypingPath
                onClicked: dialog.model.accept()
            }
        }
    }

    // Keys that hold wherever the keyboard is in the dialog.
    function handleKey(event: var) {
        const isControl = (event.modifiers & Qt.ControlModifier) !== 0;
        const isAlt = (event.modifiers & Qt.AltModifier) !== 0;
        event.accepted = true;
        if (event.key === Qt.Key_L && isControl) {
            model.beginTypingPath();
        } else if (event.key === Qt.Key_H && isControl) {
            model.showsHiddenFolders = !model.showsHiddenFolders;
        } else if (event.key === Qt.Key_Up && isAlt) {
            model.goUp();
        } else if ((event.key === Qt.Key_Return || event.key === Qt.Key_Enter) && isControl) {
            model.accept();
        } else {
            event.accepted = false;
        }
    }
}
