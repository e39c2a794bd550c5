pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The recent scans below the two ways in: each can be scanned again or taken off the list. It stands in a page that scrolls,
// so it is as high as its rows.
ColumnLayout {
    id: section

    required property RecentScansModel scans
    required property bool canRescan

    // The page is to scroll until the item is in sight.
    signal shown(item: Item)
    // Nothing is left here that could have the keyboard.
    signal emptied

    visible: scans.count > 0
    spacing: Theme.space2

    function takeKeyboard() {
        list.forceActiveFocus(Qt.OtherFocusReason);
    }

    RowLayout {
        Layout.fillWidth: true
        Layout.leftMargin: Theme.space1
        spacing: Theme.space3

        AppLabel {
            Layout.fillWidth: true
            text: qsTr("Recent Scans")
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        AppButton {
            id: clear
            text: qsTr("Clear")
            kind: AppButton.Quiet
            implicitHeight: Theme.minimumTarget
            Accessible.name: qsTr("Clear recent scans")
            onActiveFocusChanged: if (activeFocus) {
                section.shown(clear);
            }
            onClicked: {
                section.scans.clear();
                section.emptied();
            }
        }
    }

    Rectangle {
        Layout.fillWidth: true
        implicitHeight: list.contentHeight + 2
        radius: Theme.radiusCard
        color: Theme.surface
        border.width: 1
        border.color: Theme.hairline

        RowList {
            id: list
            objectName: "recentScans"

            anchors.fill: parent
            anchors.margins: 1
            focus: false
            interactive: false
            model: section.scans
            // Every row is there, however far the page is scrolled: there are twenty at the most.
            cacheBuffer: 100000
            reuseItems: false
            currentIndex: 0
            Accessible.name: qsTr("Recent Scans")
            onRowWanted: row => {
                currentIndex = row;
                if (followsKeyboard) {
                    section.shown(currentItem);
                }
            }

            function remove(row: int) {
                forceActiveFocus(Qt.OtherFocusReason);
                section.scans.remove(row);
                if (count > 0) {
                    moveTo(row);
                } else {
                    section.emptied();
                }
            }

            function openMenu(row: int, x: real, y: real) {
                choose(row);
                menu.row = row;
                menu.popup(list, x, y);
            }

            onActiveFocusChanged: {
                if (activeFocus && currentItem) {
                    section.shown(currentItem);
                }
            }

            Keys.onReturnPressed: section.scans.rescan(currentIndex)
            Keys.onEnterPressed: section.scans.rescan(currentIndex)
            Keys.onDeletePressed: remove(currentIndex)
            Keys.onMenuPressed: openMenu(currentIndex, Theme.space8, currentItem.y + currentItem.height)
            Keys.onPressed: event => {
                event.accepted = true;
                if (event.matches(StandardKey.Undo)) {
                    section.scans.undo();
                } else {
                    event.accepted = takeMove(event);
                }
            }

            delegate: ScanHistoryRow {
                id: row
                width: ListView.view.width
                isSelected: ListView.isCurrentItem && (list.activeFocus || menu.visible)
                hasRing: isSelected && list.followsKeyboard
                canRescan: section.canRescan
                onChosen: list.choose(index)
                onRescanRequested: section.scans.rescan(index)
                onRemoveRequested: list.remove(index)
                onMenuRequested: (x, y) => list.openMenu(index, x, row.y + y)
            }
        }
    }

    AppMenu {
        id: menu

        property int row: -1

        AppMenuItem {
            text: qsTr("Rescan this folder")
            icon.name: "refresh"
            enabled: section.canRescan
            shortcutText: qsTr("Return")
            onTriggered: section.scans.rescan(menu.row)
        }
        AppMenuItem {
            text: qsTr("Remove from history")
            icon.name: "close"
            shortcutText: qsTr("Delete")
            onTriggered: list.remove(menu.row)
        }
    }
}
