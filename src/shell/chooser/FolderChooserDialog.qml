pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The window's own dialog for choosing folders and files, for desktops that have none.
AppDialog {
    id: dialog

    required property QmlFolderChooser chooser
    readonly property FolderChooserModel model: chooser.model

    iconName: "folder-open"
    title: chooser.title
    text: chooser.message
    note: model.listedText
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
            text: dialog.model.showHiddenText
            checked: dialog.model.showsHiddenFolders
            onToggled: dialog.model.showsHiddenFolders = checked
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space2

            AppLabel {
                visible: dialog.model.checkedCount < 2  // the choice says itself what it is
                text: dialog.model.choiceLabel
                secondary: true
                Accessible.ignored: true
            }
            AppLabel {
                objectName: "folderChoice"
                Layout.fillWidth: true
                text: dialog.model.choiceText
                elide: dialog.model.checkedCount > 1 ? Text.ElideRight : Text.ElideMiddle
                Accessible.name: dialog.model.spokenChoice
            }
            AppButton {
                visible: dialog.model.choosesSeveral
                text: qsTr("Clear Choice")
                enabled: dialog.model.checkedCount > 0
                onClicked: {
                    // It is of no use from now on, and the keyboard goes where there is something to choose.
                    list.forceActiveFocus(Qt.OtherFocusReason);
                    dialog.model.clearChecks();
                }
            }
            AppButton {
                text: qsTr("Cancel")
                onClicked: dialog.chooser.reject()
            }
            AppButton {
                text: dialog.chooser.button
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
