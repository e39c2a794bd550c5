import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The program's one window: the first run's pages, and from then on the frame with its tabs.
//
// Components that a Loader creates cannot be bound to this file in Qt 6.4, so qmllint cannot follow the ids in them: here
// and in other files it is told not to look there.
T.ApplicationWindow {
    id: window

    required property LarkfoldApp app

    width: 1280
    height: 800
    minimumWidth: 900
    minimumHeight: 600
    color: Theme.window
    title: app.mainView ? app.mainView.windowTitle : qsTr("Larkfold")
    font.family: app.appearance.fontFamily
    font.pixelSize: Theme.sizeBody
    // The windows beside it go with it, and the program with all of them.
    onClosing: {
        app.showSettings = false;
        app.showPrivacyPolicy = false;
        app.updateManager.showsCheck = false;
    }

    Binding {
        target: Theme
        property: "dark"
        value: window.app.appearance.prefersDark
    }
    Binding {
        target: Theme
        property: "reducesMotion"
        value: window.app.appearance.reducesMotion
    }
    Binding {
        target: Theme
        property: "typeScale"
        value: window.app.appearance.typeScale
    }

    menuBar: AppMenuBar {
        app: window.app
        onHelpRequested: help.active = true
        onQuitRequested: window.close()
    }

    Loader {
        anchors.fill: parent
        focus: true
        sourceComponent: window.app.hasCompletedOnboarding ? frame : onboarding
    }

    // qmllint disable unqualified
    Component {
        id: onboarding

        OnboardingView {
            permissionManager: window.app.permissionManager
            onFinished: window.app.completeOnboarding()
        }
    }

    Component {
        id: frame

        MainFrame {
            app: window.app
            view: window.app.mainView
        }
    }
    // qmllint enable unqualified

    Loader {
        id: help
        active: false
        // qmllint disable unqualified
        sourceComponent: HelpSheet {
            app: window.app
            visible: true
            onClosed: help.active = false
        }
        // qmllint enable unqualified
    }

    // Over the window from which it was asked for.
    Loader {
        active: window.app.permissionManager.showSettingsGuide
                && !((settingsWindow.item as SettingsView)?.asksForAccess ?? false)
        // qmllint disable unqualified
        sourceComponent: AccessGuideSheet {
            permissionManager: window.app.permissionManager
            visible: true
        }
        // qmllint enable unqualified
    }

    Loader {
        id: settingsWindow
        active: window.app.showSettings
        // qmllint disable unqualified
        sourceComponent: SettingsView {
            app: window.app
            transientParent: window
            visible: true
        }
        // qmllint enable unqualified
    }
    Loader {
        id: updateWindow
        active: window.app.updateManager.showsCheck
        // qmllint disable unqualified
        sourceComponent: UpdateView {
            app: window.app
            transientParent: window
            visible: true
        }
        // qmllint enable unqualified
    }
    Loader {
        id: privacyWindow
        active: window.app.showPrivacyPolicy
        // qmllint disable unqualified
        sourceComponent: PrivacyPolicyView {
            app: window.app
            transientParent: window
            visible: true
        }
        // qmllint enable unqualified
    }

    Connections {
        target: window.app

        function onShowSettingsChanged() {
            window.bringForward(settingsWindow);
        }
        function onShowPrivacyPolicyChanged() {
            window.bringForward(privacyWindow);
        }
    }
    Connections {
        target: window.app.updateManager

        function onShowsCheckChanged() {
            window.bringForward(updateWindow);
        }
    }

    function bringForward(loader: Loader) {
        if (loader.active) {
            (loader.item as SmallWindow)?.comeForward();
        }
    }
}
