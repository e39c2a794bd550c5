import QtQuick
import QtQuick.Controls.impl as Impl
import QtQuick.Templates as T
import Larkfold.Shell

// A button with a title and, with `icon.name`, an icon of our set before it.
T.Button {
    id: control

    enum Kind {
        Secondary,    // framed, the usual one
        Primary,      // filled with the accent: what most people want here
        Quiet,        // no frame, for what stands in a line of text
        Destructive   // red: removes something
    }

    property int kind: AppButton.Secondary
    property string toolTip: ""
    // What it does, with its title, icon and when; without one all of that stands where the button does.
    property Command command: null
    // Why it cannot be done, a sentence.
    property string whyNot: command ? command.reason : ""

    readonly property bool isFilled: kind === AppButton.Primary
    property color foreground: {
        switch (kind) {
        case AppButton.Primary:
            return Theme.textOnAccent;
        case AppButton.Quiet:
            return Theme.link;
        case AppButton.Destructive:
            return Theme.removal;
        default:
            return Theme.text;
        }
    }

    // What a click does, for keys and assistive technology; the toolkit offers no such call before 6.8.
    function activate() {
        if (!enabled) {
            return;
        }
        if (checkable) {
            toggle();
            toggled();
        }
        clicked();
    }

    text: command ? command.text : action ? action.text : ""
    icon.name: command ? command.iconName : action ? action.icon.name : ""
    enabled: command ? command.enabled : !action || action.enabled
    onClicked: {
        if (command) {
            command.trigger();
        }
    }

    implicitWidth: Math.max(implicitContentWidth + leftPadding + rightPadding, Theme.minimumTarget)
    implicitHeight: Math.max(Theme.controlHeight, implicitContentHeight + topPadding + bottomPadding)
    leftPadding: kind === AppButton.Quiet ? Theme.space2 : Theme.space3
    rightPadding: leftPadding
    topPadding: Theme.space1
    bottomPadding: Theme.space1
    spacing: Theme.space2
    opacity: enabled ? 1 : 0.45
    font.pixelSize: Theme.sizeBody
    font.weight: kind === AppButton.Primary ? Font.DemiBold : kind === AppButton.Quiet ? Font.Normal : Font.Medium
    icon.width: Theme.iconSmall
    icon.height: Theme.iconSmall
    icon.color: foreground
    hoverEnabled: true

    Accessible.role: Accessible.Button
    Accessible.name: text
    // The toolkit tells assistive technology of no state "disabled".
    Accessible.description: enabled ? toolTip : (qsTr("Not available.") + " " + whyNot).trim()
    Accessible.onPressAction: control.activate()

    Keys.onReturnPressed: control.activate()
    Keys.onEnterPressed: control.activate()

    contentItem: Impl.IconLabel {
        spacing: control.spacing
        mirrored: control.mirrored
        display: control.display
        icon: control.icon
        text: control.text
        font: control.font
        color: control.foreground
    }

    background: Rectangle {
        radius: Theme.radiusControl
        color: {
            if (control.isFilled) {
                return control.down ? Qt.darker(Theme.accentFill, 1.15)
                                    : control.hovered ? Theme.accentHover : Theme.accentFill;
            }
            if (control.kind === AppButton.Destructive && (control.down || control.hovered)) {
                return Theme.removalFill;
            }
            if (control.down) {
                return Theme.pressed;
            }
            if (control.hovered || control.checked) {
                return Theme.hover;
            }
            return control.kind === AppButton.Quiet ? "transparent" : Theme.surfaceRaised;
        }
        border.width: control.isFilled || control.kind === AppButton.Quiet ? 0 : 1
        border.color: Theme.controlBorder

        FocusRing {
            shown: control.visualFocus
        }
    }

    Loader {
        active: control.toolTip.length > 0 && (control.hovered || control.visualFocus)
        // qmllint disable unqualified
        sourceComponent: AppToolTip {
            parent: control
            text: control.toolTip
            visible: true
        }
        // qmllint enable unqualified
    }
}
