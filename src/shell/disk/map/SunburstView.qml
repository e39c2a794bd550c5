import QtQuick
import Larkfold.Shell

// The map of the current folder, with what it says in its middle, its legend, and a word about summary leaves.
FocusScope {
    id: view

    required property DiskScannerViewModel driver

    property bool showLegend: false
    readonly property string hoveredSegment: layer.hoveredSegment
    // What the map lies on.
    property color backgroundColor: Theme.surface

    // The user wants to see what is marked before anything is removed.
    signal reviewRequested()

    implicitWidth: 480
    implicitHeight: 480

    SunburstItem {
        id: map
        objectName: "sunburst"
        anchors.fill: parent
        driver: view.driver
        discColor: Theme.mapCentre
        openingDuration: Theme.durationMedium
    }

    SunburstInteractionLayer {
        id: layer
        objectName: "sunburstLayer"
        anchors.fill: parent
        map: map
        focus: true
        backgroundColor: view.backgroundColor
        focusColor: Theme.text
        onReviewRequested: view.reviewRequested()

        Accessible.role: Accessible.Chart
        Accessible.name: qsTr("Disk map")
        Accessible.description: spokenValue
        Accessible.focusable: true
    }

    CenterInfo {
        anchors.centerIn: parent
        size: map.discDiameter
        name: map.centerName
        sizeText: map.centerSize
        itemsText: map.centerItems
    }

    AppLabel {
        objectName: "emptyMapText"
        visible: map.isEmpty
        anchors.horizontalCenter: parent.horizontalCenter
        y: parent.height / 2 + map.discDiameter / 2 + Theme.space4
        width: Math.min(parent.width - 2 * Theme.space6, 280 * Theme.typeScale)
        text: qsTr("There is nothing here that takes up space.")
        secondary: true
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
    }

    SunburstSummaryNote {
        objectName: "summaryNote"
        visible: map.summaryTitle.length > 0
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.top: parent.top
        anchors.topMargin: Theme.space2
        width: Math.min(parent.width - 2 * Theme.space2, 420 * Theme.typeScale)
        title: map.summaryTitle
        text: map.summaryExplanation
        onDismissed: map.dismissSummary()
    }

    SunburstLegend {
        objectName: "legend"
        visible: view.showLegend
        anchors.left: parent.left
        anchors.bottom: legendButton.top
        anchors.bottomMargin: Theme.space2
        rows: map.legend
    }

    AppIconButton {
        id: legendButton
        objectName: "legendButton"
        anchors.left: parent.left
        anchors.bottom: parent.bottom
        icon.name: "legend"
        text: qsTr("Show color legend")
        toolTip: view.showLegend ? "" : text  // it would cover the legend
        checkable: true
        checked: view.showLegend
        onToggled: view.showLegend = checked
    }
}
