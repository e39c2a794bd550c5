import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A window beside the main one, which it never covers for good: it goes with it, and Escape and Ctrl+W close it.
T.ApplicationWindow {
    id: small

    required property LarkfoldApp app
    // In the type's usual size; larger type gets more room, as far as the screen has it.
    property real usualWidth: 560
    property real usualHeight: 480
    // The item that a screen reader and the keyboard begin with.
    property Item firstItem: null
    default property alias content: page.data

    signal closed

    width: Math.min(usualWidth * Theme.typeScale, Screen.desktopAvailableWidth)
    height: Math.min(usualHeight * Theme.typeScale, Screen.desktopAvailableHeight)
    minimumWidth: 400
    minimumHeight: 280
    color: Theme.window
    flags: Qt.Dialog | Qt.WindowTitleHint | Qt.WindowSystemMenuHint | Qt.WindowCloseButtonHint
           | Qt.WindowMinMaxButtonsHint
    font.family: app.appearance.fontFamily
    font.pixelSize: Theme.sizeBody
    onClosing: closed()
    Component.onCompleted: {
        if (firstItem) {
            firstItem.forceActiveFocus(Qt.TabFocusReason);
        }
    }

    // For whoever asks for it while it is open, perhaps minimised or behind others.
    function comeForward() {
        if (visibility === Window.Minimized) {
            showNormal();
        }
        raise();
        requestActivate();
    }

    Shortcut {
        sequence: "Ctrl+W"
        onActivated: small.close()
    }

    // A list or a dialog that is open takes Escape first; what nothing else uses arrives here.
    FocusScope {
        id: page
        anchors.fill: parent
        focus: true
        Keys.onEscapePressed: small.close()
    }
}
