import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The few preferences, in a window of their own.
SmallWindow {
    id: window

    readonly property PermissionManager permissionManager: app.permissionManager
    readonly property UpdateManager updateManager: app.updateManager
    readonly property Settings settings: app.settings

    title: qsTr("Settings")
    usualWidth: 560
    usualHeight: 800
    firstItem: onboarding
    // The guide to access was asked for here, and stands here.
    property bool asksForAccess: false

    onClosed: {
        if (asksForAccess) {
            permissionManager.showSettingsGuide = false;
        }
        settings.showResetOnboardingAlert = false;
        app.showSettings = false;
    }

    Connections {
        target: window.permissionManager

        function onShowSettingsGuideChanged() {
            if (!window.permissionManager.showSettingsGuide) {
                window.asksForAccess = false;
            }
        }
    }

    ScrollingPage {
        anchors.fill: parent
        title: window.title
        focus: true

        InlineMessage {
            visible: window.settings.errorText.length > 0
            Layout.fillWidth: true
            text: window.settings.errorText
            onDismissed: window.settings.dismissError()
        }

        SettingsSection {
            Layout.fillWidth: true
            title: qsTr("General")

            SettingsRow {
                Layout.fillWidth: true
                title: qsTr("Version")
                value: window.app.version
            }
            AppButton {
                id: onboarding
                text: qsTr("Show Onboarding Again")
                onClicked: window.settings.showResetOnboardingAlert = true
            }
        }

        SettingsSection {
            Layout.fillWidth: true
            title: qsTr("Permissions")
            framed: false

            PermissionCard {
                Layout.fillWidth: true
                color: Theme.surface
                permissionManager: window.permissionManager
                onVisited: window.asksForAccess = true
            }
        }

        SettingsSection {
            Layout.fillWidth: true
            title: qsTr("Scanning")

            AppSwitch {
                Layout.fillWidth: true
                text: qsTr("Skip hidden files")
                checked: window.settings.skipHiddenFiles
                onToggled: window.settings.skipHiddenFiles = checked
            }
            AppLabel {
                Layout.fillWidth: true
                text: qsTr("For folders, from the next scan on. A scan of the entire disk measures hidden files too.")
                secondary: true
                font.pixelSize: Theme.sizeCaption
                wrapMode: Text.Wrap
            }
        }

        SettingsSection {
            Layout.fillWidth: true
            title: qsTr("Duplicate Detection")

            SettingsRow {
                Layout.fillWidth: true
                title: qsTr("Minimum file size")

                AppComboBox {
                    label: qsTr("Minimum file size")
                    model: window.settings.duplicateSizes
                    textRole: "title"
                    valueRole: "bytes"
                    currentIndex: window.settings.minimumDuplicateSizeIndex
                    displayText: currentIndex < 0 ? window.settings.minimumDuplicateSizeText : currentText
                    onActivated: index => window.settings.minimumDuplicateSize = valueAt(index)
                }
            }
        }

        SettingsSection {
            Layout.fillWidth: true
            title: qsTr("Updates")

            AppLabel {
                Layout.fillWidth: true
                text: qsTr("Larkfold updates")
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
                Accessible.role: Accessible.Heading
            }
            AppSwitch {
                Layout.fillWidth: true
                text: qsTr("Automatically check for updates")
                enabled: window.updateManager.isEnabled
                checked: window.updateManager.automaticallyChecksForUpdates
                onToggled: window.updateManager.automaticallyChecksForUpdates = checked
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.space3

                AppButton {
                    text: qsTr("Check Now")
                    enabled: window.updateManager.canCheckForUpdates
                    onClicked: window.updateManager.checkForUpdates()
                }
                AppLabel {
                    Layout.fillWidth: true
                    text: window.updateManager.summary
                    secondary: true
                    wrapMode: Text.Wrap
                }
            }
            AppLabel {
                visible: text.length > 0
                Layout.fillWidth: true
                text: window.updateManager.disclosure
                secondary: true
                font.pixelSize: Theme.sizeCaption
                wrapMode: Text.Wrap
            }
            AppButton {
                Layout.leftMargin: -leftPadding
                kind: AppButton.Quiet
                text: qsTr("Privacy Policy")
                onClicked: window.app.showPrivacyPolicy = true
            }
        }
    }

    Loader {
        active: window.permissionManager.showSettingsGuide && window.asksForAccess
        // qmllint disable unqualified
        sourceComponent: AccessGuideSheet {
            permissionManager: window.permissionManager
            visible: true
        }
        // qmllint enable unqualified
    }
    Loader {
        active: window.settings.showResetOnboardingAlert
        // qmllint disable unqualified
        sourceComponent: ResetOnboardingAlert {
            settings: window.settings
            visible: true
        }
        // qmllint enable unqualified
    }
}
