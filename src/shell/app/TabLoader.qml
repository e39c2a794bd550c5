import QtQuick
import Larkfold.Shell

// The place of one tab. What was open once keeps what it shows while another tab is selected.
Loader {
    id: place

    required property MainView view
    // A row of the table of tabs.
    required property var modelData
    readonly property bool isSelected: view.selectedTab === modelData.value

    function open() {
        if (status === Loader.Null) {
            setSource(modelData.page, {view: view, tab: modelData.tab});
        }
    }

    visible: isSelected
    focus: isSelected
    onIsSelectedChanged: {
        open();
        if (isSelected) {
            forceActiveFocus(Qt.OtherFocusReason);
        }
    }
    Component.onCompleted: {
        if (isSelected) {
            open();
        }
    }
}
