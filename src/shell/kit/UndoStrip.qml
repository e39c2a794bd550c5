import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What was just done, with the way back. It lies over the foot of a page, wherever that is scrolled to.
Rectangle {
    id: strip

    property string text: ""

    signal undone
    signal dismissed

    // With its ring: where the keyboard went is not to be guessed.
    function takeKeyboard() {
        undo.forceActiveFocus(Qt.TabFocusReason);
    }

    // Read out as it appears: it becomes visible only once its name is there.
    visible: text.length > 0
    implicitWidth: content.implicitWidth + Theme.space4 + Theme.space2
    implicitHeight: Math.max(Math.round(44 * Theme.typeScale), told.implicitHeight + 2 * Theme.space3)
    radius: Theme.radiusCard
    color: Theme.surfaceRaised
    border.width: 1
    border.color: Theme.controlBorder
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text

    RowLayout {
        id: content
        anchors.fill: parent
        anchors.leftMargin: Theme.space4
        anchors.rightMargin: Theme.space2
        spacing: Theme.space2

        AppLabel {
            id: told
            Layout.fillWidth: true
            text: strip.text
            wrapMode: Text.Wrap
            Accessible.ignored: true
        }
        AppButton {
            id: undo
            text: qsTr("Undo")
            kind: AppButton.Quiet
            implicitHeight: Theme.minimumTarget
            onClicked: strip.undone()
        }
        AppIconButton {
            icon.name: "close"
            icon.width: Math.round(14 * Theme.typeScale)
            text: qsTr("Dismiss")
            onClicked: strip.dismissed()
        }
    }
}
