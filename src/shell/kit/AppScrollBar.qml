import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A slim scroll bar that grows under the pointer.
T.ScrollBar {
    id: control

    implicitWidth: orientation === Qt.Vertical ? 12 : 0
    implicitHeight: orientation === Qt.Horizontal ? 12 : 0
    padding: 2
    minimumSize: 0.06
    hoverEnabled: true
    visible: policy !== T.ScrollBar.AlwaysOff && size < 1
    Accessible.ignored: true

    contentItem: Item {
        implicitWidth: 8
        implicitHeight: 8

        Rectangle {
            readonly property int thickness: control.hovered || control.pressed ? 8 : 5

            anchors.right: parent.right
            anchors.bottom: parent.bottom
            width: control.orientation === Qt.Vertical ? thickness : parent.width
            height: control.orientation === Qt.Horizontal ? thickness : parent.height
            radius: thickness / 2
            color: Theme.textSecondary
            opacity: control.pressed ? 0.8 : control.hovered ? 0.6 : 0.35
        }
    }
}
