pragma ComponentBehavior: Bound

import QtQuick
import Larkfold.Shell

// What menus, lists and sheets lie on: a raised surface with a soft shadow, made of plain rectangles because effects
// are not drawn by the software renderer.
Item {
    id: surface

    property int radius: Theme.radiusControl + 2
    property int depth: 6

    Repeater {
        model: surface.depth

        Rectangle {
            required property int index

            anchors.fill: parent
            anchors.margins: -(index + 1) * 2
            anchors.topMargin: -(index + 1) * 2 + 4
            anchors.bottomMargin: -(index + 1) * 2 - 4
            radius: surface.radius + (index + 1) * 2
            color: Qt.alpha(Theme.shadow, Theme.shadow.a / surface.depth)
        }
    }

    Rectangle {
        anchors.fill: parent
        radius: surface.radius
        color: Theme.surfaceRaised
        border.width: 1
        border.color: Theme.hairline
    }
}
