import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A box to tick, with its title behind it.
T.CheckBox {
    id: control

    // What a click does, for keys and assistive technology; the toolkit offers no such call before 6.8.
    function activate() {
        if (checkable) {
            toggle();
            toggled();
        }
        clicked();
    }

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: Math.max(Theme.minimumTarget, implicitContentHeight + topPadding + bottomPadding)
    leftPadding: 0
    rightPadding: 0
    spacing: Theme.space2
    opacity: enabled ? 1 : 0.45
    hoverEnabled: true
    font.pixelSize: Theme.sizeBody

    Accessible.role: Accessible.CheckBox
    Accessible.name: text
    Accessible.checkable: true
    Accessible.checked: checked
    Accessible.onPressAction: control.activate()
    Accessible.onToggleAction: control.activate()

    Keys.onReturnPressed: control.activate()
    Keys.onEnterPressed: control.activate()

    indicator: Rectangle {
        y: Math.round((control.height - height) / 2)
        implicitWidth: Theme.iconSmall
        implicitHeight: Theme.iconSmall
        radius: Theme.space1
        color: control.checked ? Theme.accentFill : control.hovered ? Theme.hover : Theme.surfaceRaised
        border.width: control.checked ? 0 : 1
        border.color: Theme.textSecondary

        AppIcon {
            anchors.centerIn: parent
            visible: control.checked
            name: "check"
            size: Math.round(12 * Theme.typeScale)
            color: Theme.textOnAccent
        }

        FocusRing {
            shown: control.visualFocus
        }
    }

    contentItem: Text {
        leftPadding: control.indicator.width + control.spacing
        text: control.text
        font: control.font
        color: Theme.text
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        textFormat: Text.PlainText
    }
}
