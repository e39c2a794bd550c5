pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// A sheet or an alert: title, text, whatever content it holds, and its buttons.
//
// Each action of `actions` is a button, from left to right; pressing it closes the dialog and then triggers the action.
// Return presses `defaultAction`; Escape closes and triggers `cancelAction`.
T.Dialog {
    id: control

    property string text: ""
    // A smaller second text, such as what the first means on this system.
    property string note: ""
    property string iconName: ""
    property color iconColor: Theme.accent
    property int titleSize: Theme.sizeEmphasis
    property real preferredWidth: 440 * Theme.typeScale
    property list<T.Action> actions
    property T.Action defaultAction: null
    property T.Action cancelAction: null
    property T.Action destructiveAction: null
    default property alias content: body.data

    parent: T.Overlay.overlay
    x: parent ? Math.round((parent.width - width) / 2) : 0
    y: parent ? Math.round(Math.max(Theme.space4, (parent.height - height) * 0.42)) : 0
    // Wide enough for its row of buttons, whatever their words.
    width: Math.min(Math.max(preferredWidth, buttons.implicitWidth + leftPadding + rightPadding),
                    parent ? parent.width - 2 * Theme.space6 : preferredWidth)
    height: Math.min(implicitContentHeight + topPadding + bottomPadding, parent ? parent.height - 2 * Theme.space4 : 600)
    padding: Theme.space5
    modal: true
    focus: true
    closePolicy: T.Popup.CloseOnEscape
    onRejected: {
        if (cancelAction) {
            cancelAction.trigger();
        }
    }
    onOpened: buttons.focusDefault()

    T.Overlay.modal: Rectangle {
        color: Theme.scrim
    }

    background: PopupSurface {
        radius: Theme.radiusCard
        depth: 10
    }

    enter: Transition {
        NumberAnimation {
            property: "opacity"
            from: 0
            to: 1
            duration: Theme.durationShort
        }
    }
    exit: Transition {
        NumberAnimation {
            property: "opacity"
            from: 1
            to: 0
            duration: Theme.durationShort
        }
    }

    contentItem: ColumnLayout { // qmllint disable deferred-property-id
        spacing: Theme.space4
        Keys.onReturnPressed: buttons.press(control.defaultAction)
        Keys.onEnterPressed: buttons.press(control.defaultAction)

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space4

            AppIcon {
                visible: control.iconName.length > 0
                Layout.alignment: Qt.AlignTop
                name: control.iconName
                size: Math.round(32 * Theme.typeScale)
                color: control.iconColor
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: Theme.space2

                AppLabel {
                    Layout.fillWidth: true
                    text: control.title
                    font.pixelSize: control.titleSize
                    font.weight: Font.DemiBold
                    wrapMode: Text.Wrap
                    Accessible.role: Accessible.Heading
                }
                AppLabel {
                    visible: control.text.length > 0
                    Layout.fillWidth: true
                    text: control.text
                    secondary: true
                    wrapMode: Text.Wrap
                    lineHeight: 1.25
                }
                AppLabel {
                    visible: control.note.length > 0
                    Layout.fillWidth: true
                    text: control.note
                    secondary: true
                    font.pixelSize: Theme.sizeCaption
                    wrapMode: Text.Wrap
                }
            }
        }

        ColumnLayout {
            id: body
            visible: children.length > 0
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: Theme.space3
        }

        RowLayout {
            id: buttons

            visible: control.actions.length > 0
            Layout.fillWidth: true
            spacing: Theme.space2

            function press(action: T.Action) {
                if (action) {
                    control.close();
                    action.trigger();
                }
            }

            function focusDefault() {
                for (let i = 0; i < repeater.count; ++i) {
                    const button = repeater.itemAt(i) as DialogButton;
                    if (button && button.stands === control.defaultAction) {
                        button.forceActiveFocus(Qt.TabFocusReason);
                        return;
                    }
                }
            }

            Item {
                Layout.fillWidth: true
            }
            Repeater {
                id: repeater
                model: control.actions.length

                DialogButton {
                    required property int index

                    stands: control.actions[index]
                    kind: stands === control.destructiveAction ? AppButton.Destructive
                                                               : stands === control.defaultAction ? AppButton.Primary
                                                                                                  : AppButton.Secondary
                    onClicked: buttons.press(stands)
                }
            }
        }
    }
}
