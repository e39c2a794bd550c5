import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// A failure that stands in the page: what happened, and below it what was not harmed and what to do.
Rectangle {
    id: message

    property string text: ""
    property string detail: ""
    property string iconName: "warning"
    property bool dismissible: true
    // What can be done about it; empty: nothing.
    property string actionText: ""

    signal dismissed
    signal triggered

    implicitHeight: Math.max(Theme.rowHeight + Theme.space2, words.implicitHeight + 2 * Theme.space3)
    radius: Theme.radiusCard
    color: Theme.reviewFill
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
    Accessible.description: detail

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.space4
        anchors.rightMargin: Theme.space2
        spacing: Theme.space3

        AppIcon {
            name: message.iconName
            size: Theme.iconMedium
            color: Theme.review
        }
        ColumnLayout {
            id: words
            Layout.fillWidth: true
            spacing: 2

            AppLabel {
                Layout.fillWidth: true
                text: message.text
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
            }
            AppLabel {
                visible: message.detail.length > 0
                Layout.fillWidth: true
                text: message.detail
                wrapMode: Text.Wrap
            }
        }
        AppButton {
            objectName: "messageAction"
            visible: message.actionText.length > 0
            text: message.actionText
            onClicked: message.triggered()
        }
        AppIconButton {
            visible: message.dismissible
            icon.name: "close"
            icon.width: Math.round(14 * Theme.typeScale)
            text: qsTr("Dismiss")
            onClicked: message.dismissed()
        }
    }
}
