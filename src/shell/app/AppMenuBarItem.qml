import QtQuick
import QtQuick.Controls.impl as Impl
import QtQuick.Templates as T
import Larkfold.Shell

// The title of one menu in the menu bar; Alt and the underlined letter open it.
T.MenuBarItem {
    id: control

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: Math.max(Theme.minimumTarget, implicitContentHeight + Theme.space2)
    horizontalPadding: Theme.space2 + 2
    font.pixelSize: Theme.sizeBody
    hoverEnabled: true
    Accessible.role: Accessible.MenuItem
    Accessible.name: text.replace("&", "")
    Accessible.onPressAction: control.clicked()

    contentItem: Impl.IconLabel {
        text: control.text
        font: control.font
        color: Theme.text
    }

    background: Rectangle {
        anchors.fill: parent
        anchors.margins: 2
        radius: Theme.space1
        color: control.highlighted || control.down ? Theme.pressed : control.hovered ? Theme.hover : "transparent"
    }
}
