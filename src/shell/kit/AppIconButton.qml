import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A button that is nothing but an icon. Its `text` is what a screen reader says and what the tool tip shows.
T.Button {
    id: control

    property string toolTip: text
    // Why it cannot be done, a sentence.
    property string whyNot: ""
    property color foreground: Theme.textSecondary
    property int size: Math.max(Theme.minimumTarget, icon.width + Theme.space3)

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

    implicitWidth: size
    implicitHeight: size
    padding: 0
    opacity: enabled ? 1 : 0.4
    icon.width: Theme.iconSmall
    icon.height: Theme.iconSmall
    hoverEnabled: true

    Accessible.role: Accessible.Button
    Accessible.name: text
    // The toolkit tells assistive technology of no state "disabled".
    Accessible.description: enabled ? "" : (qsTr("Not available.") + " " + whyNot).trim()
    Accessible.onPressAction: control.activate()
    // Otherwise the toolkit sets `checked` alone, and nobody hears of it.
    Accessible.onToggleAction: control.activate()

    Keys.onReturnPressed: control.activate()
    Keys.onEnterPressed: control.activate()

    contentItem: Item {
        AppIcon {
            anchors.centerIn: parent
            name: control.icon.name
            size: control.icon.width
            color: control.hovered || control.checked ? Theme.text : control.foreground
        }
    }

    background: Rectangle {
        radius: Theme.radiusControl
        color: control.down ? Theme.pressed : control.hovered || control.checked ? Theme.hover : "transparent"

        FocusRing {
            shown: control.visualFocus
            gap: 0
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
