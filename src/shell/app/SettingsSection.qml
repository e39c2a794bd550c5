import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// A group of settings under a heading, on a card.
ColumnLayout {
    id: section

    property string title: ""
    // False for what brings a card of its own.
    property bool framed: true
    default property alias content: body.data

    spacing: Theme.space2

    AppLabel {
        Layout.fillWidth: true
        text: section.title
        font.pixelSize: Theme.sizeEmphasis
        font.weight: Font.DemiBold
        wrapMode: Text.Wrap
        Accessible.role: Accessible.Heading
    }
    Rectangle {
        Layout.fillWidth: true
        implicitHeight: body.implicitHeight + 2 * body.anchors.margins
        radius: Theme.radiusCard
        color: section.framed ? Theme.surface : "transparent"
        border.width: section.framed ? 1 : 0
        border.color: Theme.hairline
        Accessible.role: Accessible.Grouping
        Accessible.name: section.title

        ColumnLayout {
            id: body
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            anchors.margins: section.framed ? Theme.space4 : 0
            spacing: Theme.space2
        }
    }
}
