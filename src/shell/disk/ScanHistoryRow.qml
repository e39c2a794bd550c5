import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// One recent scan: its root, the figures it came to, and how long ago that was.
Item {
    id: row

    required property int index
    required property string name
    required property string path
    required property string sizeText
    required property string filesText
    required property string ageText
    required property bool isCurrentScan
    required property string iconName
    required property string spokenText
    required property bool isSelected
    required property bool hasRing
    required property bool canRescan

    // What a narrow window leaves out is in the spoken text.
    readonly property bool showsFiles: width >= 580 * Theme.typeScale

    signal chosen
    signal rescanRequested
    signal removeRequested
    signal menuRequested(x: real, y: real)

    implicitHeight: Math.round(48 * Theme.typeScale)

    Accessible.role: Accessible.ListItem
    Accessible.name: spokenText
    Accessible.focusable: true
    Accessible.selectable: true
    Accessible.selected: isSelected
    Accessible.onPressAction: {
        if (canRescan) {
            rescanRequested();
        }
    }

    HoverHandler {
        id: pointer
    }
    TapHandler {
        onTapped: row.chosen()
        onDoubleTapped: row.rescanRequested()
    }
    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: point => row.menuRequested(point.position.x, point.position.y)
    }

    Rectangle {
        anchors.fill: parent
        anchors.margins: Theme.space1
        radius: Theme.radiusControl
        color: row.isSelected ? Theme.selection : pointer.hovered ? Theme.hover : "transparent"

        FocusRing {
            gap: -2
            shown: row.hasRing
        }
    }
    Hairline {
        visible: row.index > 0
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: Theme.space4
        anchors.rightMargin: Theme.space4
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.space4
        anchors.rightMargin: Theme.space2
        spacing: Theme.space3

        AppIcon {
            name: row.iconName
            color: Theme.textSecondary
        }
        ColumnLayout {
            Layout.fillWidth: true
            Layout.minimumWidth: 0
            spacing: 1

            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.space2

                Text {
                    Layout.fillWidth: true
                    Layout.maximumWidth: implicitWidth + 1
                    text: row.name
                    color: Theme.text
                    font.pixelSize: Theme.sizeBody
                    font.weight: Font.DemiBold
                    elide: Text.ElideMiddle
                    textFormat: Text.PlainText
                }
                Rectangle {
                    visible: row.isCurrentScan
                    implicitWidth: current.implicitWidth + Theme.space3
                    implicitHeight: current.implicitHeight + Theme.space1
                    radius: height / 2
                    color: Theme.safeFill

                    Text {
                        id: current
                        anchors.centerIn: parent
                        text: qsTr("Current")
                        color: Theme.safe
                        font.pixelSize: Theme.sizeCaption
                        font.weight: Font.DemiBold
                        textFormat: Text.PlainText
                    }
                }
                Item {
                    Layout.fillWidth: true
                }
            }
            Text {
                Layout.fillWidth: true
                text: row.path
                color: Theme.textSecondary
                font.pixelSize: Theme.sizeCaption
                elide: Text.ElideMiddle
                textFormat: Text.PlainText
            }
        }
        Text {
            Layout.preferredWidth: Math.round(84 * Theme.typeScale)
            text: row.sizeText
            color: Theme.text
            font.pixelSize: Theme.sizeBody
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignRight
            textFormat: Text.PlainText
        }
        Text {
            visible: row.showsFiles
            Layout.preferredWidth: Math.round(112 * Theme.typeScale)
            text: row.filesText
            color: Theme.textSecondary
            font.pixelSize: Theme.sizeBody
            horizontalAlignment: Text.AlignRight
            textFormat: Text.PlainText
        }
        Text {
            Layout.preferredWidth: Math.round(92 * Theme.typeScale)
            text: row.ageText
            color: Theme.textSecondary
            font.pixelSize: Theme.sizeBody
            horizontalAlignment: Text.AlignRight
            textFormat: Text.PlainText
        }
        // Return and Delete on the row do the same as these: the Tab key would else stop twice at every row.
        Row {
            layoutDirection: Qt.RightToLeft
            spacing: 0

            AppIconButton {
                text: qsTr("Rescan this folder")
                icon.name: "refresh"
                enabled: row.canRescan
                focusPolicy: Qt.NoFocus
                Accessible.description: row.path
                onClicked: row.rescanRequested()
            }
            AppIconButton {
                // Always there for assistive technology, shown where the pointer or the keyboard is.
                opacity: row.isSelected || pointer.hovered ? 1 : 0
                text: qsTr("Remove from history")
                icon.name: "close"
                icon.width: Math.round(14 * Theme.typeScale)
                focusPolicy: Qt.NoFocus
                Accessible.description: row.path
                onClicked: row.removeRequested()
            }
        }
    }
}
