import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// How full the startup disk is.
Rectangle {
    id: card

    required property DiskSpacePresenter presenter

    implicitHeight: Math.round(48 * Theme.typeScale)
    radius: Theme.radiusCard
    color: Theme.surface
    border.width: 1
    border.color: Theme.hairline

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.space5
        anchors.rightMargin: Theme.space5
        spacing: Theme.space4

        AppIcon {
            name: "drive"
            size: Theme.iconMedium
            color: Theme.textSecondary
        }
        AppLabel {
            text: qsTr("Startup Disk")
            font.weight: Font.DemiBold
        }
        AppProgressBar {
            Layout.fillWidth: true
            value: card.presenter.volumeUsedShare
            Accessible.name: qsTr("Used space of the startup disk")
        }
        AppLabel {
            text: qsTr("%1 used").arg(card.presenter.volumeUsedText)
            secondary: true
        }
        AppLabel {
            text: qsTr("%1 free").arg(card.presenter.volumeFreeText)
            font.weight: Font.DemiBold
        }
        AppLabel {
            text: qsTr("of %1").arg(card.presenter.volumeTotalText)
            secondary: true
        }
    }
}
