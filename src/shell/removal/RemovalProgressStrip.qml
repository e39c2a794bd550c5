import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// A removal under way: how far it is, and, where the page has no button for it, how to stop it.
Rectangle {
    id: strip

    required property RemovalProgressPresenter presenter
    property bool offersCancel: false

    visible: presenter.isRunning
    height: visible ? implicitHeight : 0
    implicitHeight: row.implicitHeight + 2 * Theme.space2
    color: Theme.surfaceRaised
    Accessible.role: Accessible.Grouping
    Accessible.name: presenter.text

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
            text: strip.presenter.text
        }
        AppProgressBar {
            Layout.fillWidth: true
            value: strip.presenter.share
            // Until the first item has gone there is nothing to measure by.
            indeterminate: value === 0
            Accessible.name: strip.presenter.text
        }
        AppButton {
            visible: strip.offersCancel
            text: qsTr("Cancel")
            icon.name: "stop"
            enabled: strip.presenter.canCancel
            implicitHeight: Theme.minimumTarget
            onClicked: strip.presenter.cancel()
        }
    }
}
