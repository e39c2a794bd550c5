import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What the latest removal came to. It slides in above the page and pushes it down, so that it covers nothing.
Rectangle {
    id: banner

    required property CleanupResultPresenter result
    // Not where the history is on screen.
    property bool offersHistory: true

    signal showHistory

    // Read out as it appears: it becomes visible only once its name is there.
    visible: result.isShown
    height: visible ? implicitHeight : 0
    implicitHeight: words.implicitHeight + 2 * Theme.space3
    clip: true
    color: result.isComplete ? Theme.safeFill : Theme.reviewFill
    Accessible.role: Accessible.AlertMessage
    Accessible.name: result.headline
    Accessible.description: result.figures

    Behavior on height {
        enabled: banner.visible
        NumberAnimation {
            duration: Theme.durationMedium
            easing.type: Easing.OutCubic
        }
    }

    Hairline {
        anchors.bottom: parent.bottom
        width: parent.width
    }

    RowLayout {
        anchors.left: parent.left
        anchors.leftMargin: Theme.space5
        anchors.right: parent.right
        anchors.rightMargin: Theme.space3
        anchors.bottom: parent.bottom
        height: banner.implicitHeight
        spacing: Theme.space3

        AppIcon {
            name: banner.result.isComplete ? "check-circle" : "warning"
            size: Theme.iconLarge
            color: banner.result.isComplete ? Theme.safe : Theme.review
        }
        ColumnLayout {
            id: words
            Layout.fillWidth: true
            spacing: 2

            AppLabel {
                Layout.fillWidth: true
                text: banner.result.headline
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
            }
            AppLabel {
                Layout.fillWidth: true
                text: banner.result.figures
                wrapMode: Text.Wrap
            }
        }
        AppButton {
            visible: banner.offersHistory
            text: qsTr("View history")
            onClicked: banner.showHistory()
        }
        AppIconButton {
            icon.name: "close"
            icon.width: Math.round(14 * Theme.typeScale)
            text: qsTr("Close")
            onClicked: banner.result.dismiss()
        }
    }
}
