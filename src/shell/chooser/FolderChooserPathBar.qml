import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// Where the user is: the folders of the way as buttons, or the path as text to type.
ColumnLayout {
    id: bar

    required property FolderChooserModel model

    // The path has been typed, or is not wanted any more.
    signal finished()

    spacing: Theme.space1

    Connections {
        target: bar.model

        function onIsTypingPathChanged() {
            if (!bar.model.isTypingPath) {
                bar.finished();
            }
        }

        function onPathOffered() {
            field.text = bar.model.typedPath;
            field.forceActiveFocus(Qt.ShortcutFocusReason);
            field.select(bar.model.typedPathKept, field.length);
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.space1

        AppIconButton {
            icon.name: "chevron-up"
            text: qsTr("Up")
            toolTip: qsTr("To the folder above (Alt+Up)")
            enabled: bar.model.canGoUp
            onClicked: bar.model.goUp()
        }
        CrumbRow {
            visible: !bar.model.isTypingPath
            Layout.fillWidth: true
            Layout.preferredHeight: Theme.controlHeight
            model: bar.model.crumbs
            onChosen: index => bar.model.goToCrumb(index)
        }
        AppTextField {
            id: field
            visible: bar.model.isTypingPath
            Layout.fillWidth: true
            placeholderText: bar.model.choosesFiles ? qsTr("Path of a file or a folder") : qsTr("Path of a folder")
            clearable: false
            Accessible.description: bar.model.pathProblem
            onTextEdited: bar.model.typedPath = text
            onAccepted: bar.model.submitPath()
            // Takes it from the dialog, which would close.
            Keys.onShortcutOverride: event => event.accepted = event.key === Qt.Key_Escape
            Keys.onEscapePressed: bar.model.cancelTypingPath()
        }
        AppIconButton {
            icon.name: "keyboard"
            text: qsTr("Type a path")
            toolTip: qsTr("Type a path (%1+L)").arg(Words.commandKey)
            checked: bar.model.isTypingPath
            onClicked: bar.model.toggleTypingPath()
        }
    }

    AppProgressBar {
        visible: bar.model.isLookingUp
        Layout.fillWidth: true
        indeterminate: true
        Accessible.name: qsTr("Looking for the folder")
    }

    RowLayout {
        visible: bar.model.pathProblem.length > 0
        Layout.fillWidth: true
        spacing: Theme.space2

        AppIcon {
            Layout.alignment: Qt.AlignTop
            name: "warning"
            color: Theme.review
        }
        AppLabel {
            objectName: "pathProblem"
            Layout.fillWidth: true
            text: bar.model.pathProblem
            wrapMode: Text.Wrap
            Accessible.role: Accessible.AlertMessage
        }
    }
}
