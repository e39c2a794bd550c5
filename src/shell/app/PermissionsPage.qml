import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The first run's page about access that the system may withhold.
ColumnLayout {
    id: page

    required property PermissionManager permissionManager
    // The user has been to the settings, and so may have something to check.
    property bool hasVisitedSettings: false
    // A check that the user asked for has ended.
    property bool hasChecked: false

    spacing: Theme.space4

    Connections {
        target: page.permissionManager

        function onIsCheckingChanged() {
            if (!page.permissionManager.isChecking && page.hasVisitedSettings) {
                page.hasChecked = true;
            }
        }
    }

    AppLabel {
        Layout.fillWidth: true
        Layout.bottomMargin: Theme.space3
        horizontalAlignment: Text.AlignHCenter
        text: qsTr("Permissions")
        font.pixelSize: Theme.sizeDisplay
        font.weight: Font.Bold
        wrapMode: Text.Wrap
        Accessible.role: Accessible.Heading
    }

    PermissionCard {
        Layout.fillWidth: true
        permissionManager: page.permissionManager
        onVisited: page.hasVisitedSettings = true
    }

    AppLabel {
        Layout.fillWidth: true
        text: qsTr("Without this optional access, Larkfold still works for folders you choose manually, but protected folders like Mail and Safari data stay off-limits.")
        secondary: true
        wrapMode: Text.Wrap
        lineHeight: 1.25
    }

    AppButton {
        visible: page.hasVisitedSettings && !page.permissionManager.hasFullDiskAccess
        Layout.alignment: Qt.AlignHCenter
        text: page.permissionManager.isChecking ? qsTr("Checking...") : qsTr("I've Enabled It — Check Again")
        icon.name: "refresh"
        enabled: !page.permissionManager.isChecking
        onClicked: page.permissionManager.checkFullDiskAccess()
    }
    AppLabel {
        visible: page.hasChecked && !page.permissionManager.isChecking && !page.permissionManager.hasFullDiskAccess
        Layout.fillWidth: true
        horizontalAlignment: Text.AlignHCenter
        text: qsTr("Access not detected yet. Make sure you toggled Larkfold in %1 → Privacy & Security → Full Disk Access.").arg(Words.settings)
        color: Theme.review
        wrapMode: Text.Wrap
    }
    AppLabel {
        Layout.fillWidth: true
        Layout.topMargin: Theme.space2
        horizontalAlignment: Text.AlignHCenter
        text: qsTr("You can skip this step and grant additional access later in %1").arg(Words.settings)
        secondary: true
        font.pixelSize: Theme.sizeCaption
        wrapMode: Text.Wrap
    }
}
