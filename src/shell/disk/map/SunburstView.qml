import QtQuick
import QtQuick.Layouts
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

    // Where the disc is too small to hold what it says, that stands above the map as well.
    readonly property bool saysAbove: map.discDiameterIn(width, height) < 96 * Theme.typeScale
    // The legend stands beside the map where there is room for it. Where the room on one side is wide enough as it is, the
    // map stays in the middle.
    readonly property real legendRoom: legend.width + Theme.space4
    readonly property bool legendBeside: showLegend && width - place.height >= legendRoom

    Item {
        id: place
        anchors.fill: parent
        anchors.topMargin: caption.visible ? caption.height + Theme.space1 : 0
        anchors.leftMargin: view.legendBeside && (view.width - height) / 2 < view.legendRoom ? view.legendRoom : 0

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
    }

    RowLayout {
        id: caption
        visible: view.saysAbove && map.centerName.length > 0
        width: parent.width
        spacing: Theme.space2

        AppLabel {
            objectName: "centerCaption"
            Layout.fillWidth: true
            Layout.maximumWidth: implicitWidth
            text: map.centerName
            font.pixelSize: Theme.sizeCaption
            font.weight: Font.DemiBold
            elide: Text.ElideMiddle
        }
        AppLabel {
            objectName: "centerFigures"
            text: map.centerItems.length > 0 ? map.centerSize + " · " + map.centerItems : map.centerSize
            secondary: true
            font.pixelSize: Theme.sizeCaption
        }
        Item {
            Layout.fillWidth: true
        }
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
        id: legend
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

    // Why something was not marked, or a mark was taken back. It lies over the map and moves nothing: the next click goes
    // where the pointer is.
    InlineMessage {
        id: refusal
        objectName: "markNotice"
        visible: view.driver.markNotice.length > 0
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: (view.width - width) / 2 > legendButton.width ? Theme.space2
                                                                           : legendButton.height + Theme.space2
        width: Math.min(view.width - 2 * Theme.space2, 420 * Theme.typeScale)
        iconName: "info"
        text: view.driver.markNotice
        maximumLines: 3
        announces: false
        onDismissed: {
            const hadKeyboard = hasKeyboard;
            view.driver.dismissMarkNotice();
            if (hadKeyboard) {
                layer.forceActiveFocus(Qt.TabFocusReason);
            }
        }

        // No click goes through to the map.
        MouseArea {
            anchors.fill: parent
            z: -1
            hoverEnabled: true
        }
    }

    Announcement {
        id: said
    }
    Connections {
        target: view.driver

        function onMarkNoticeChanged() {
            if (view.driver.markNotice.length > 0) {
                said.say(view.driver.markNotice);
            } else {
                said.clear();
            }
        }
    }
}
