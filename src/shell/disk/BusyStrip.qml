import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// Work that leaves the page as it is, above it: a refresh, the question to the disk before a scan, a saved scan that is
// being forgotten. What mostly takes no time is told once it does.
Rectangle {
    id: strip

    required property DiskSpacePresenter presenter
    // To be told at once.
    property bool isPrompt: false
    property bool hasWaited: false

    visible: presenter.busyText.length > 0 && (isPrompt || hasWaited)
    implicitHeight: row.implicitHeight + 2 * Theme.space2
    color: Theme.surfaceRaised
    Accessible.role: Accessible.Grouping
    Accessible.name: presenter.busyText

    Timer {
        interval: 500
        running: strip.presenter.busyText.length > 0
        onRunningChanged: {
            if (!running && strip.presenter.busyText.length === 0) {
                strip.hasWaited = false;
            }
        }
        onTriggered: strip.hasWaited = true
    }

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
            text: strip.presenter.busyText
            wrapMode: Text.Wrap
        }
        AppProgressBar {
            Layout.fillWidth: true
            indeterminate: true
            Accessible.name: strip.presenter.busyText
        }
    }
}
