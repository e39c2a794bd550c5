import QtQuick
import Larkfold.Shell

// The place of one tab. What was open once keeps what it shows while another tab is selected.
Loader {
    id: place

    required property MainView view
    required property int value
    readonly property bool isSelected: view.selectedTab === value

    active: false
    visible: isSelected
    focus: isSelected
    onIsSelectedChanged: {
        active = true;
        if (isSelected) {
            forceActiveFocus(Qt.OtherFocusReason);
        }
    }
    Component.onCompleted: active = isSelected
}
