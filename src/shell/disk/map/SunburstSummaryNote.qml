import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// Says in plain words what a summary leaf stands for.
Item {
    id: note

    required property string title
    required property string text

    signal dismissed

    implicitHeight: words.implicitHeight + 2 * Theme.space3
    Accessible.role: Accessible.Note
    Accessible.name: title
    Accessible.description: text

    PopupSurface {
        anchors.fill: parent
    }
    // No click goes through to the map.
    MouseArea {
        anchors.fill: parent
        hoverEnabled: true
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.space3
        anchors.rightMargin: Theme.space2
        spacing: Theme.space3

        AppIcon {
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: Theme.space3
            name: "summary"
            size: Theme.iconMedium
            color: Theme.textSecondary
        }
        ColumnLayout {
            id: words
            Layout.fillWidth: true
            spacing: 2

            AppLabel {
                Layout.fillWidth: true
                text: note.title
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
            }
            AppLabel {
                Layout.fillWidth: true
                text: note.text
                secondary: true
                wrapMode: Text.Wrap
            }
        }
        AppIconButton {
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: Theme.space2
            icon.name: "close"
            text: qsTr("Dismiss")
            onClicked: note.dismissed()
        }
    }
}
