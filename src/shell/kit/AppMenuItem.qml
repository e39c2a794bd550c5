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
    // Why it cannot be chosen, a sentence, below the title; empty where there is nothing to say.
    property string reason: command ? command.reason : ""

    text: command ? command.text : action ? action.text : ""
    icon.name: command ? command.iconName : action ? action.icon.name : ""
    enabled: command ? command.enabled : !action || action.enabled
    onTriggered: {
        if (command && !action) {
            command.trigger();
        }
    }

    readonly property int reasonWidth: 260 * Theme.typeScale

    implicitWidth: leftPadding + rightPadding + Math.max(title.implicitWidth + (keys.visible ? keys.implicitWidth + Theme.space6 : 0),
                                                         reason.length > 0 ? reasonWidth : 0)
    implicitHeight: Math.max(Theme.minimumTarget, words.implicitHeight + Theme.space2)
    leftPadding: Theme.space2 + (glyph.visible ? Theme.iconSmall + Theme.space2 : Theme.space1)
    rightPadding: Theme.space3
    font.pixelSize: Theme.sizeBody
    hoverEnabled: true

    Accessible.role: Accessible.MenuItem
    Accessible.name: text
    // The toolkit tells assistive technology of no state "disabled".
    Accessible.description: enabled ? "" : (qsTr("Not available.") + " " + reason).trim()
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

    // What cannot be chosen steps back; the reason stays as clear as any text.
    readonly property real dimming: enabled ? 1 : 0.4

    contentItem: Item { // qmllint disable deferred-property-id
        Column {
            id: words
            anchors.verticalCenter: parent.verticalCenter
            width: parent.width
            spacing: 2

            Text {
                id: title
                opacity: control.dimming
                text: control.text
                font: control.font
                color: control.highlighted ? Theme.textOnAccent : Theme.text
                textFormat: Text.PlainText
            }
            Text {
                objectName: "menuReason"
                visible: text.length > 0
                width: parent.width
                text: control.reason
                font.pixelSize: Theme.sizeCaption
                color: control.highlighted ? Theme.textOnAccent : Theme.textSecondary
                wrapMode: Text.Wrap
                textFormat: Text.PlainText
            }
        }
        Text {
            id: keys
            y: words.y
            anchors.right: parent.right
            visible: text.length > 0
            opacity: control.dimming
            text: Words.keys(control.shortcutText)
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
        opacity: control.dimming
        name: control.checkable ? (control.checked ? "check" : "") : control.icon.name
        color: control.highlighted ? Theme.textOnAccent : Theme.textSecondary
    }
}
