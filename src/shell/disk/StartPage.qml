import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The two ways in, the folder that may be dropped instead, and below them what was scanned lately.
T.Control {
    id: page

    required property MainView view
    required property DiskSpaceTab tab
    readonly property DiskSpacePresenter presenter: tab.presenter

    Component.onCompleted: presenter.refreshVolume()
    Component.onDestruction: tab.recentScans.forgetUndo()

    // What the strip covers of the page's foot.
    readonly property real coveredHeight: undo.visible ? undo.height + undo.anchors.bottomMargin : 0

    // Scrolls as little as brings the item into sight.
    function bringIntoSight(item: Item) {
        const top = item.mapToItem(column, 0, 0).y + column.y - Theme.space4;
        const bottom = top + item.height + 2 * Theme.space4 + coveredHeight;
        const lowest = Math.max(0, flickable.contentHeight - flickable.height);
        flickable.contentY = Math.max(0, Math.min(lowest, top, Math.max(flickable.contentY, bottom - flickable.height)));
    }

    DropArea {
        id: drop
        anchors.fill: parent
        onEntered: drag => drag.accepted = drag.hasUrls
        onDropped: drop => {
            drop.accept();
            page.tab.drop(drop.urls);
        }
    }

    Flickable {
        id: flickable
        anchors.fill: parent
        contentWidth: width
        contentHeight: Math.max(height, column.implicitHeight + 2 * Theme.space6 + page.coveredHeight)
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        T.ScrollBar.vertical: AppScrollBar {}

        ColumnLayout {
            id: column
            x: Math.round((flickable.width - width) / 2)
            y: Math.max(Theme.space6, Math.round((flickable.height - implicitHeight) * 0.42))
            width: Math.min(flickable.width - 2 * Theme.space6, 800 * Theme.typeScale)
            spacing: Theme.space4

            InlineMessage {
                visible: page.tab.dropMessage.length > 0
                Layout.fillWidth: true
                text: page.tab.dropMessage
                detail: qsTr("Drop a folder that your account may open, or choose one with “Scan Folder”.")
                onDismissed: page.tab.dismissDropMessage()
            }
            InlineMessage {
                visible: page.presenter.errorText.length > 0
                Layout.fillWidth: true
                text: page.presenter.errorText
                detail: page.presenter.errorHint
                actionText: page.tab.canReturnToMap && !page.tab.driver.hasScanResult ? qsTr("Show Saved Map") : ""
                onTriggered: page.tab.returnToMap()
                onDismissed: page.tab.driver.dismissError()
            }

            DashedFrame {
                Layout.fillWidth: true
                Layout.preferredHeight: hero.implicitHeight + 2 * Theme.space8
                radius: Theme.radiusCard + 2
                color: drop.containsDrag ? Theme.selection : Theme.surface
                borderColor: drop.containsDrag ? Theme.accent : Theme.controlBorder
                borderWidth: drop.containsDrag ? 2 : 1

                RowLayout {
                    id: hero
                    anchors.left: parent.left
                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.leftMargin: Theme.space8
                    anchors.rightMargin: Theme.space8
                    spacing: Theme.space8

                    ScanOrbits {
                        Layout.preferredWidth: Math.round(Math.min(200, page.width * 0.24))
                        Layout.preferredHeight: Layout.preferredWidth
                        still: true
                        accent: Theme.accentFill
                        track: Theme.hairline
                    }

                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: Theme.space2

                        AppLabel {
                            Layout.fillWidth: true
                            text: qsTr("See where your space went")
                            font.pixelSize: Theme.sizeDisplay - 2
                            font.weight: Font.Bold
                            wrapMode: Text.Wrap
                            Accessible.role: Accessible.Heading
                        }
                        AppLabel {
                            Layout.fillWidth: true
                            text: qsTr("Map the whole disk or one folder and see what fills it. Looking changes nothing, and nothing leaves this computer.")
                            secondary: true
                            font.pixelSize: Theme.sizeBody + 1
                            wrapMode: Text.Wrap
                            lineHeight: 1.3
                        }
                        Flow {
                            Layout.fillWidth: true
                            Layout.topMargin: Theme.space3
                            spacing: Theme.space3

                            AppButton {
                                command: page.tab.can.scanDisk
                                kind: AppButton.Primary
                                implicitHeight: Theme.controlHeight + 4
                                focus: true
                            }
                            AppButton {
                                command: page.tab.can.scanFolder
                                text: qsTr("Scan Folder")
                                implicitHeight: Theme.controlHeight + 4
                            }
                            AppLabel {
                                height: Theme.controlHeight + 4
                                verticalAlignment: Text.AlignVCenter
                                text: drop.containsDrag ? qsTr("Let go to scan it") : qsTr("or drop a folder here")
                                secondary: true
                            }
                        }
                        AppCheckBox {
                            Layout.topMargin: Theme.space1
                            text: qsTr("Skip hidden files")
                            checked: page.tab.driver.skipHiddenFiles
                            onToggled: page.tab.driver.skipHiddenFiles = checked

                            Accessible.description: qsTr("For folders. A scan of the entire disk measures hidden files too.")
                        }
                    }
                }
            }

            VolumeBar {
                visible: page.presenter.hasVolume
                Layout.fillWidth: true
                presenter: page.presenter
            }

            RecentScans {
                id: recent
                Layout.fillWidth: true
                scans: page.tab.recentScans
                canRescan: page.tab.can.busyReason.length === 0
                onShown: item => page.bringIntoSight(item)
                onEmptied: undo.takeKeyboard()
            }
        }
    }

    UndoStrip {
        id: undo
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: Theme.space4
        width: Math.min(implicitWidth, column.width)
        text: page.tab.recentScans.undoText
        onUndone: {
            page.tab.recentScans.undo();
            recent.takeKeyboard();
        }
        onDismissed: page.tab.recentScans.forgetUndo()
    }
}
