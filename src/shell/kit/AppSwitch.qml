import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A switch with its title behind it.
T.Switch {
    id: control

    // What a click does, for keys and assistive technology; the toolkit offers no such call before 6.8.
    function activate() {
        toggle();
        toggled();
        clicked();
    }

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: Math.max(Theme.minimumTarget, implicitContentHeight + topPadding + bottomPadding)
    leftPadding: 0
    rightPadding: 0
    spacing: Theme.space2 + 2
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
        implicitWidth: Math.round(34 * Theme.typeScale)
        implicitHeight: Math.round(20 * Theme.typeScale)
        radius: height / 2
        color: control.checked ? Theme.accentFill : Theme.track
        border.width: control.checked ? 0 : 1
        border.color: Theme.controlBorder

        Rectangle {
            x: control.checked ? parent.width - width - 2 : 2
            y: 2
            width: height
            height: parent.height - 4
            radius: height / 2
            color: Theme.knob
            border.width: 1
            border.color: Theme.controlBorder

            Behavior on x {
                NumberAnimation {
                    duration: Theme.durationShort
                }
            }
        }

        FocusRing {
            shown: control.visualFocus
            radius: parent.radius + gap + border.width
        }
    }

    contentItem: Text {
        leftPadding: control.indicator.width + control.spacing
        text: control.text
        font: control.font
        color: Theme.text
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
    }
}
