import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// One line of a menu: an icon where it has one, the title, and at the end the shortcut that does the same.
T.MenuItem {
    id: control

    // What to show as the shortcut where it is handled elsewhere; otherwise the action's own.
    property string shortcutText: command ? command.shortcut : ""
    // What it does, with its title, icon and when; without one all of that stands where the item does.
    property Command command: null
    // Why it cannot be done, a sentence.
    property string whyNot: command ? command.reason : ""

    text: command ? command.text : action ? action.text : ""
    icon.name: command ? command.iconName : action ? action.icon.name : ""
    enabled: command ? command.enabled : !action || action.enabled
    onTriggered: {
        if (command && !action) {
            command.trigger();
        }
    }

    implicitWidth: leftPadding + rightPadding + title.implicitWidth + (keys.visible ? keys.implicitWidth + Theme.space6 : 0)
    implicitHeight: Math.max(Theme.minimumTarget, title.implicitHeight + Theme.space2)
    leftPadding: Theme.space2 + (glyph.visible ? Theme.iconSmall + Theme.space2 : Theme.space1)
    rightPadding: Theme.space3
    opacity: enabled ? 1 : 0.4
    font.pixelSize: Theme.sizeBody
    hoverEnabled: true

    Accessible.role: Accessible.MenuItem
    Accessible.name: text
    // The toolkit tells assistive technology of no state "disabled".
    Accessible.description: enabled ? "" : (qsTr("Not available.") + " " + whyNot).trim()
    Accessible.onPressAction: control.activate()

    // What a click does, for assistive technology: the toolkit triggers an action of the item for a pointer alone.
    function activate() {
        if (!enabled) {
            return;
        }
        if (action) {
            action.trigger();
        }
        clicked();
    }

    contentItem: Item { // qmllint disable deferred-property-id
        Text {
            id: title
            anchors.verticalCenter: parent.verticalCenter
            text: control.text
            font: control.font
            color: control.highlighted ? Theme.textOnAccent : Theme.text
            textFormat: Text.PlainText
        }
        Text {
            id: keys
            anchors.verticalCenter: parent.verticalCenter
            anchors.right: parent.right
            visible: text.length > 0
            text: control.shortcutText
            font: control.font
            color: control.highlighted ? Theme.textOnAccent : Theme.textSecondary
            textFormat: Text.PlainText
        }
    }

    background: Rectangle {
        anchors.fill: parent
        anchors.leftMargin: Theme.space1
        anchors.rightMargin: Theme.space1
        radius: Theme.space1
        color: control.highlighted ? Theme.accentFill : "transparent"
    }

    AppIcon {
        id: glyph
        x: Theme.space3
        anchors.verticalCenter: parent.verticalCenter
        visible: name.length > 0 || control.checkable
        name: control.checkable ? (control.checked ? "check" : "") : control.icon.name
        color: control.highlighted ? Theme.textOnAccent : Theme.textSecondary
    }
}
