import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What the colours of the first ring stand for, each with its size, and how what is marked is told from the rest.
Item {
    id: legend

    // The first children of the folder on display, as the map gives them.
    required property var rows

    implicitWidth: Math.round(200 * Theme.typeScale)
    implicitHeight: column.implicitHeight + 2 * Theme.space3
    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Legend")

    PopupSurface {
        anchors.fill: parent
    }
    // No click goes through to the map.
    MouseArea {
        anchors.fill: parent
        hoverEnabled: true
    }

    ColumnLayout {
        id: column
        x: Theme.space3
        y: Theme.space3
        width: parent.width - 2 * Theme.space3
        spacing: Theme.space1

        AppLabel {
            Layout.bottomMargin: Theme.space1
            text: qsTr("Legend")
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        Repeater {
            model: legend.rows

            SunburstLegendRow {
                required property var modelData

                Layout.fillWidth: true
                name: modelData.name
                swatch: modelData.color
                hatched: modelData.isHatched
                sizeText: modelData.sizeText
                spokenText: modelData.spokenText
            }
        }
        SunburstLegendRow {
            Layout.fillWidth: true
            Layout.topMargin: Theme.space1
            name: qsTr("Selected for deletion")
            swatch: Theme.mapMarked
            hatched: true
        }
        AppLabel {
            Layout.fillWidth: true
            Layout.topMargin: Theme.space2
            text: qsTr("Click to navigate, %1+click to select").arg(Words.commandKey)
            secondary: true
            font.pixelSize: Theme.sizeCaption
            wrapMode: Text.Wrap
        }
    }
}
