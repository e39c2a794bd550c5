import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// A refresh under way, above the map that it leaves as it is.
Rectangle {
    id: strip

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver

    visible: driver.isRefreshingIndex
    implicitHeight: row.implicitHeight + 2 * Theme.space2
    color: Theme.surfaceRaised
    Accessible.role: Accessible.Grouping
    Accessible.name: presenter.refreshText

    Hairline {
        anchors.bottom: parent.bottom
        width: parent.width
    }

    RowLayout {
        id: row
        anchors.left: parent.left
        anchors.leftMargin: Theme.space5
        anchors.right: parent.right
        anchors.rightMargin: Theme.space4
        anchors.verticalCenter: parent.verticalCenter
        spacing: Theme.space4

        AppLabel {
            Layout.maximumWidth: strip.width * 0.7
            text: strip.presenter.refreshText
            wrapMode: Text.Wrap
        }
        AppProgressBar {
            Layout.fillWidth: true
            indeterminate: true
            Accessible.name: strip.presenter.refreshText
        }
    }
}
