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
    // Whether a screen reader is told as it appears; not where an `Announcement` says it.
    property bool announces: true
    // What does not fit into so many lines is in a tool tip.
    property int maximumLines: 1000

    readonly property bool hasKeyboard: close.activeFocus

    signal dismissed
    signal triggered

    implicitHeight: Math.max(Theme.rowHeight + Theme.space2, words.implicitHeight + 2 * Theme.space3)
    radius: Theme.radiusCard
    color: Theme.reviewFill
    Accessible.role: announces ? Accessible.AlertMessage : Accessible.Note
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
                id: sentence
                Layout.fillWidth: true
                text: message.text
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
                maximumLineCount: message.maximumLines
                elide: Text.ElideRight

                HoverHandler {
                    id: pointer
                    enabled: sentence.truncated
                }
                Loader {
                    active: pointer.hovered
                    // qmllint disable unqualified
                    sourceComponent: AppToolTip {
                        parent: sentence
                        text: message.text
                        visible: true
                    }
                    // qmllint enable unqualified
                }
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
            id: close
            visible: message.dismissible
            icon.name: "close"
            icon.width: Math.round(14 * Theme.typeScale)
            text: qsTr("Dismiss")
            onClicked: message.dismissed()
        }
    }
}
