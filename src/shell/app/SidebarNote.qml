import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// A small card at the foot of the sidebar: what is the matter, and the one thing to do. `narrow` leaves a button with
// the icon, which says the rest in its tool tip.
Rectangle {
    id: note

    property bool narrow: false
    property string iconName: ""
    property color iconColor: Theme.accent
    property string title: ""
    property string text: ""
    property string actionText: ""
    // Whether it, and the second thing, can be done now, and why not.
    property bool actionEnabled: true
    property string whyNot: ""
    // A second thing to do, with less weight; empty: none.
    property string secondActionText: ""
    property string secondActionIcon: ""
    property bool isDestructive: false
    // What still has to be legible when narrow; short lines.
    property string compactText: ""

    signal triggered
    signal secondTriggered

    implicitHeight: narrow ? compact.implicitHeight : card.implicitHeight + 2 * Theme.space3
    radius: Theme.radiusCard
    color: narrow ? "transparent" : Theme.surfaceRaised
    border.width: narrow ? 0 : 1
    border.color: Theme.hairline
    Accessible.role: Accessible.Grouping
    Accessible.name: title

    ColumnLayout {
        id: card
        visible: !note.narrow
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: Theme.space3
        spacing: Theme.space1

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space2

            AppIcon {
                name: note.iconName
                color: note.iconColor
            }
            AppLabel {
                Layout.fillWidth: true
                text: note.title
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
            }
        }
        AppLabel {
            Layout.fillWidth: true
            text: note.text
            secondary: true
            font.pixelSize: Theme.sizeCaption
            wrapMode: Text.Wrap
            lineHeight: 1.2
        }
        Flow {
            Layout.fillWidth: true
            Layout.topMargin: Theme.space1
            spacing: Theme.space1

            AppButton {
                kind: note.isDestructive ? AppButton.Destructive : AppButton.Secondary
                text: note.actionText
                icon.name: note.isDestructive ? "trash" : ""
                implicitHeight: Theme.minimumTarget
                enabled: note.actionEnabled
                whyNot: note.whyNot
                onClicked: note.triggered()
            }
            AppButton {
                visible: text.length > 0
                kind: AppButton.Quiet
                text: note.secondActionText
                implicitHeight: Theme.minimumTarget
                enabled: note.actionEnabled
                whyNot: note.whyNot
                onClicked: note.secondTriggered()
            }
        }
    }

    ColumnLayout {
        id: compact
        visible: note.narrow
        anchors.left: parent.left
        anchors.right: parent.right
        spacing: 0

        AppIconButton {
            Layout.alignment: Qt.AlignHCenter
            size: 36
            icon.name: note.iconName
            icon.width: 18
            foreground: note.iconColor
            text: note.actionText
            toolTip: note.title + " – " + note.text
            enabled: note.actionEnabled
            whyNot: note.whyNot
            onClicked: note.triggered()
        }
        AppIconButton {
            visible: note.secondActionIcon.length > 0
            Layout.alignment: Qt.AlignHCenter
            size: 36
            icon.name: note.secondActionIcon
            icon.width: 18
            text: note.secondActionText
            enabled: note.actionEnabled
            whyNot: note.whyNot
            onClicked: note.secondTriggered()
        }
        AppLabel {
            visible: text.length > 0
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: note.compactText
            font.pixelSize: Theme.sizeCaption - 1
            wrapMode: Text.Wrap
            Accessible.name: note.title
        }
    }
}
