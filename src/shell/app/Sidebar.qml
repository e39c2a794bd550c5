pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The tabs, and below them what has to be in sight whichever tab is open: marks, and missing access. `narrow` leaves
// the icons alone.
Rectangle {
    id: sidebar

    required property LarkfoldApp app
    required property MainView view
    property bool narrow: false

    implicitWidth: narrow ? Theme.sidebarWidthNarrow : Theme.sidebarWidth
    color: Theme.sidebar

    Hairline {
        anchors.right: parent.right
        height: parent.height
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.space2
        spacing: Theme.space1

        Repeater {
            model: sidebar.view.tabs

            SidebarTab {
                Layout.fillWidth: true
                view: sidebar.view
                narrow: sidebar.narrow
            }
        }

        Item {
            Layout.fillHeight: true
        }

        SidebarNote {
            visible: sidebar.app.updateManager.availableVersion.length > 0
            Layout.fillWidth: true
            narrow: sidebar.narrow
            iconName: "refresh"
            title: qsTr("Update Available")
            text: qsTr("Larkfold %1 is available.").arg(sidebar.app.updateManager.availableVersion)
            actionText: qsTr("What’s New…")
            onTriggered: sidebar.app.updateManager.showAvailable()
        }

        SidebarNote {
            visible: sidebar.app.privacyPolicyHasChanged
            Layout.fillWidth: true
            narrow: sidebar.narrow
            iconName: "document"
            title: qsTr("Privacy Policy Updated")
            text: qsTr("What Larkfold says about your privacy has changed.")
            actionText: qsTr("Privacy Policy")
            onTriggered: sidebar.app.showPrivacyPolicy = true
        }

        SidebarNote {
            visible: sidebar.view.permissionManager.isLimited
            Layout.fillWidth: true
            narrow: sidebar.narrow
            iconName: "shield"
            iconColor: Theme.review
            title: qsTr("Limited Access")
            text: qsTr("Protected folders may be skipped unless you grant additional access")
            actionText: qsTr("Grant Access")
            onTriggered: sidebar.view.permissionManager.openFullDiskAccessSettings()
        }

        Repeater {
            model: sidebar.view.tabs

            SidebarNote {
                id: marked

                required property var modelData
                readonly property Tab tab: modelData.tab

                visible: tab.markedText.length > 0
                Layout.fillWidth: true
                narrow: sidebar.narrow
                iconName: "mark"
                iconColor: Theme.removal
                title: tab.markedText
                compactText: tab.markedShortText
                text: qsTr("Review before anything is moved.")
                actionText: qsTr("Review…")
                actionEnabled: tab.canReview
                whyNot: tab.whyNoReview
                isDestructive: true
                secondActionText: qsTr("Clear Marks")
                secondActionIcon: "unmark"
                onTriggered: marked.tab.review()
                onSecondTriggered: marked.tab.clearMarked()
            }
        }
    }
}
