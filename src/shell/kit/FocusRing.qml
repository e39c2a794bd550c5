import QtQuick
import Larkfold.Shell

// The ring around a control that has the keyboard. Drawn outside of the control, so that it covers nothing.
Rectangle {
    id: ring

    // Whether the control has the keyboard, as `visualFocus` or `activeFocus` tells.
    required property bool shown
    property int gap: 2

    anchors.fill: parent
    anchors.margins: -(gap + border.width)
    visible: shown
    color: "transparent"
    radius: Theme.radiusControl + gap + border.width
    border.width: 2
    border.color: Theme.focus
}
