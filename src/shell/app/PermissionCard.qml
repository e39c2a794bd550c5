import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// Whether the system shows the program its protected folders, and the way to where that is granted.
Rectangle {
    id: card

    required property PermissionManager permissionManager

    // The user goes there.
    signal visited

    implicitHeight: row.implicitHeight + 2 * Theme.space4
    radius: Theme.radiusCard
    color: Theme.window
    border.width: 1
    border.color: Theme.hairline

    RowLayout {
        id: row
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.margins: Theme.space4
        spacing: Theme.space4

        AppIcon {
            name: "shield"
            size: Math.round(32 * Theme.typeScale)
            color: Theme.accent
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            AppLabel {
                Layout.fillWidth: true
                text: qsTr("Protected Folder Access")
                font.pixelSize: Theme.sizeEmphasis
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
            }
            AppLabel {
                Layout.fillWidth: true
                text: qsTr("Optional for Mail, Safari data, and app containers")
                secondary: true
                wrapMode: Text.Wrap
            }
        }
        RowLayout {
            visible: card.permissionManager.hasFullDiskAccess
            spacing: Theme.space1

            AppIcon {
                name: "check-circle"
                size: Theme.iconMedium
                color: Theme.safe
            }
            AppLabel {
                text: qsTr("Enabled")
                color: Theme.safe
                font.weight: Font.DemiBold
            }
        }
        AppButton {
            visible: !card.permissionManager.hasFullDiskAccess
            text: qsTr("Enable")
            onClicked: {
                card.visited();
                card.permissionManager.openFullDiskAccessSettings();
            }
        }
    }
}
