import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// How far something is, or, `indeterminate`, that it is under way.
T.ProgressBar {
    id: control

    property color fill: Theme.accentFill

    implicitWidth: 200
    implicitHeight: 8
    Accessible.role: Accessible.ProgressBar

    background: Rectangle {
        radius: height / 2
        color: Theme.track
    }

    contentItem: Item { // qmllint disable deferred-property-id
        clip: control.indeterminate

        Rectangle {
            id: bar

            property real travel
            // Where nothing may move it stands in the middle.
            readonly property real place: Theme.reducesMotion ? 0.5 : travel

            x: control.indeterminate ? Math.round((parent.width + width) * place - width) : 0
            width: control.indeterminate ? parent.width * 0.3
                                         : Math.max(control.position > 0 ? height : 0, parent.width * control.position)
            height: parent.height
            radius: height / 2
            color: control.fill

            NumberAnimation on travel {
                running: control.indeterminate && control.visible && !Theme.reducesMotion
                loops: Animation.Infinite
                from: 0
                to: 1
                duration: 1400
                easing.type: Easing.InOutSine
            }
        }
    }
}
