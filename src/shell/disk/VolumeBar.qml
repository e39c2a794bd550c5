import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// How full the startup disk is.
Rectangle {
    id: card

    required property DiskSpacePresenter presenter

    // The figures stand beside the bar, or below it where that would leave the bar too short.
    readonly property bool isNarrow: width - 2 * Theme.space5 < head.leastWidth + Theme.space6 + figures.wantedWidth

    implicitHeight: Math.max(Math.round(48 * Theme.typeScale), content.implicitHeight + 2 * Theme.space3)
    radius: Theme.radiusCard
    color: Theme.surface
    border.width: 1
    border.color: Theme.hairline

    GridLayout {
        id: content
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: Theme.space5
        anchors.rightMargin: Theme.space5
        columns: card.isNarrow ? 1 : 2
        columnSpacing: Theme.space6
        rowSpacing: Theme.space2

        RowLayout {
            id: head

            readonly property real leastWidth: glyph.width + title.implicitWidth + 2 * spacing + 120 * Theme.typeScale

            Layout.fillWidth: true
            spacing: Theme.space4

            AppIcon {
                id: glyph
                name: "drive"
                size: Theme.iconMedium
                color: Theme.textSecondary
            }
            AppLabel {
                id: title
                text: qsTr("Startup Disk")
                font.weight: Font.DemiBold
                // The bar's sentence begins with it.
                Accessible.ignored: true
            }
            StackedBar {
                objectName: "volumeBar"
                Layout.fillWidth: true
                used: card.presenter.volumeUsedShare
                reserved: card.presenter.volumeReservedShare
                Accessible.name: card.presenter.volumeSpokenText
                Accessible.description: reservedFigure.visible ? reservedFigure.explanation : ""
            }
        }
        Flow {
            id: figures

            readonly property real wantedWidth: usedFigure.width + (reservedFigure.visible ? reservedFigure.width + spacing : 0)
                                                + freeFigure.width + total.width + 2 * spacing

            Layout.preferredWidth: wantedWidth
            Layout.fillWidth: card.isNarrow
            spacing: Theme.space4

            Figure {
                id: usedFigure
                kind: PartFill.Used
                text: qsTr("%1 used").arg(card.presenter.volumeUsedText)
            }
            Figure {
                id: reservedFigure
                visible: card.presenter.volumeReservedText.length > 0
                kind: PartFill.Reserved
                text: qsTr("%1 reserved").arg(card.presenter.volumeReservedText)
                explanation: qsTr("Kept back by the file system; only the administrator can use it.")
            }
            Figure {
                id: freeFigure
                kind: PartFill.Free
                text: qsTr("%1 free").arg(card.presenter.volumeFreeText)
                isStrong: true
            }
            AppLabel {
                id: total
                text: qsTr("of %1").arg(card.presenter.volumeTotalText)
                secondary: true
                Accessible.ignored: true
            }
        }
    }

    // A part's sample and how much it is. The sentence of the bar says the same to a screen reader.
    component Figure: Row {
        id: figure

        property int kind: PartFill.Used
        property bool isStrong: false
        property string explanation: ""
        property alias text: words.text

        spacing: Theme.space1 + 2

        PartFill {
            anchors.verticalCenter: parent.verticalCenter
            kind: figure.kind
        }
        AppLabel {
            id: words
            secondary: !figure.isStrong
            font.weight: figure.isStrong ? Font.DemiBold : Font.Normal
            Accessible.ignored: true
        }
        HoverHandler {
            id: pointer
            enabled: figure.explanation.length > 0
        }
        Loader {
            active: pointer.hovered
            // qmllint disable unqualified
            sourceComponent: AppToolTip {
                parent: words
                text: figure.explanation
                visible: true
            }
            // qmllint enable unqualified
        }
    }
}
