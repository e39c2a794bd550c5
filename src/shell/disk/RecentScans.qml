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

        ListView {
            id: list
            objectName: "recentScans"

            // Whether the keyboard moved the current row last: only then it needs a ring.
            property bool followsKeyboard: true

            anchors.fill: parent
            anchors.margins: 1
            activeFocusOnTab: true
            interactive: false
            model: section.scans
            // Every row is there, however far the page is scrolled: there are twenty at the most.
            cacheBuffer: 100000
            keyNavigationEnabled: false
            highlightFollowsCurrentItem: false
            currentIndex: 0
            Accessible.role: Accessible.List
            Accessible.name: qsTr("Recent Scans")

            function moveTo(row: int) {
                followsKeyboard = true;
                currentIndex = Math.max(0, Math.min(count - 1, row));
                section.shown(currentItem);
            }

            function choose(row: int) {
                forceActiveFocus(Qt.MouseFocusReason);
                followsKeyboard = false;
                currentIndex = row;
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
                followsKeyboard = true;
                if (activeFocus && currentItem) {
                    section.shown(currentItem);
                }
            }

            Keys.onUpPressed: moveTo(currentIndex - 1)
            Keys.onDownPressed: moveTo(currentIndex + 1)
            Keys.onReturnPressed: section.scans.rescan(currentIndex)
            Keys.onEnterPressed: section.scans.rescan(currentIndex)
            Keys.onDeletePressed: remove(currentIndex)
            Keys.onMenuPressed: openMenu(currentIndex, Theme.space8, currentItem.y + currentItem.height)
            Keys.onPressed: event => {
                event.accepted = true;
                if (event.key === Qt.Key_Home) {
                    moveTo(0);
                } else if (event.key === Qt.Key_End) {
                    moveTo(count - 1);
                } else if (event.matches(StandardKey.Undo)) {
                    section.scans.undo();
                } else {
                    event.accepted = false;
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
