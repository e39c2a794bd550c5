import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The search and the filters of the list. In a narrow pane the filters stand in pairs, in a low one they fold away.
ColumnLayout {
    id: bar

    required property FileListModel model
    // Too little height for everything to be open from the start.
    required property bool isLow

    // The user leaves the bar for the list.
    signal finished()

    readonly property bool isNarrow: width < 500 * Theme.typeScale
    property bool showsFilters: !isLow

    spacing: Theme.space2

    function focusSearch() {
        searchField.forceActiveFocus(Qt.ShortcutFocusReason);
        searchField.selectAll();
    }

    // Fields and boxes follow where the model's values change by another way.
    Connections {
        target: bar.model
        function onQueryChanged() {
            bar.follow(searchField, bar.model.searchText);
            bar.follow(extensionField, bar.model.extensionFilter);
            bar.follow(locationField, bar.model.locationFilter);
            sizeBox.currentIndex = bar.model.minimumSizeChoice;
            ageBox.currentIndex = bar.model.ageChoice;
            subfoldersBox.checked = bar.model.searchSubfolders;
        }
    }

    function follow(field: AppTextField, text: string) {
        if (field.text !== text) {
            field.text = text;
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.space2

        AppTextField {
            id: searchField
            objectName: "searchField"
            Layout.fillWidth: true
            iconName: "search"
            placeholderText: qsTr("Search")
            onTextChanged: bar.model.searchText = text
            Keys.onEscapePressed: {
                clear();
                bar.finished();
            }
            Keys.onDownPressed: bar.finished()
            Keys.onReturnPressed: bar.finished()
        }
        AppIconButton {
            objectName: "filterToggle"
            size: Theme.controlHeight
            checkable: true
            checked: bar.showsFilters
            icon.name: "filter"
            foreground: bar.model.hasFilters ? Theme.link : Theme.textSecondary
            text: bar.showsFilters ? qsTr("Hide filters") : qsTr("Show filters")
            onToggled: bar.showsFilters = checked
        }
    }

    GridLayout {
        visible: bar.showsFilters
        Layout.fillWidth: true
        columns: bar.isNarrow ? 2 : 4
        columnSpacing: Theme.space2
        rowSpacing: Theme.space2

        AppComboBox {
            id: sizeBox
            objectName: "minimumSizeBox"
            Layout.fillWidth: bar.isNarrow
            Layout.minimumWidth: bar.isNarrow ? 0 : implicitWidth
            Layout.preferredWidth: bar.isNarrow ? 1 : implicitWidth
            label: qsTr("Minimum size")
            model: bar.model.minimumSizeChoices
            textRole: "text"
            valueRole: "value"
            onActivated: index => bar.model.minimumSizeChoice = index
        }
        AppComboBox {
            id: ageBox
            objectName: "ageBox"
            Layout.fillWidth: bar.isNarrow
            Layout.minimumWidth: bar.isNarrow ? 0 : implicitWidth
            Layout.preferredWidth: bar.isNarrow ? 1 : implicitWidth
            label: qsTr("Modified")
            model: bar.model.ageChoices
            textRole: "text"
            valueRole: "value"
            onActivated: index => bar.model.ageChoice = index
        }
        AppTextField {
            id: extensionField
            objectName: "extensionField"
            Layout.fillWidth: true
            Layout.preferredWidth: 1
            placeholderText: qsTr("Extensions: pdf, zip")
            onTextChanged: bar.model.extensionFilter = text
        }
        AppTextField {
            id: locationField
            objectName: "locationField"
            Layout.fillWidth: true
            Layout.preferredWidth: 1
            placeholderText: qsTr("Path contains…")
            onTextChanged: bar.model.locationFilter = text
        }
    }

    RowLayout {
        visible: bar.showsFilters
        Layout.fillWidth: true
        spacing: Theme.space2

        AppCheckBox {
            id: subfoldersBox
            objectName: "subfoldersBox"
            text: qsTr("Include subfolders")
            onToggled: bar.model.searchSubfolders = checked
        }
        Item {
            Layout.fillWidth: true
        }
        AppButton {
            objectName: "resetButton"
            kind: AppButton.Quiet
            text: qsTr("Reset")
            enabled: bar.model.hasFilters
            onClicked: bar.model.resetFilters()
        }
    }
}
