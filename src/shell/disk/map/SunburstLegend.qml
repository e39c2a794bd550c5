import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What the colours of the first ring stand for.
Item {
    id: legend

    // The first children of the folder on display, each {name, color}.
    required property var rows

    implicitWidth: Math.round(200 * Theme.typeScale)
    implicitHeight: column.implicitHeight + 2 * Theme.space3
    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Legend")

    PopupSurface {
        anchors.fill: parent
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
            }
        }
        SunburstLegendRow {
            Layout.fillWidth: true
            Layout.topMargin: Theme.space1
            name: qsTr("Selected for deletion")
            swatch: Theme.mapMarked
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
