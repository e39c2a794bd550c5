pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The table beside the map: what the current folder holds, with search, filters and sorting, and what can be done with
// each entry.
FocusScope {
    id: view

    required property DiskScannerViewModel driver

    // The user wants to see what is marked before anything is removed.
    signal reviewRequested()

    readonly property alias model: rows

    implicitWidth: 420
    implicitHeight: 480

    FileListModel {
        id: rows
        driver: view.driver
        onCurrentRowChanged: list.showCurrentRow()
        onRowsChanged: contextMenu.close()
    }

    QuickLookDataSource {
        id: quickLook
    }

    FileListColumns {
        id: columns
        availableWidth: list.width
    }

    Shortcut {
        sequence: "Ctrl+F"
        enabled: view.visible && !previewPanel.visible
        onActivated: filterBar.focusSearch()
    }

    Rectangle {
        anchors.fill: parent
        color: Theme.surface
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        FileListFilterBar {
            id: filterBar
            Layout.fillWidth: true
            Layout.margins: Theme.space2
            Layout.leftMargin: Theme.space3
            Layout.rightMargin: Theme.space3
            model: rows
            isLow: view.height < 420 * Theme.typeScale
            onFinished: list.forceActiveFocus(Qt.TabFocusReason)
        }

        RowLayout {
            visible: rows.holdsSummaries
            Layout.fillWidth: true
            Layout.leftMargin: Theme.space3
            Layout.rightMargin: Theme.space3
            Layout.bottomMargin: Theme.space2
            spacing: Theme.space2

            AppIcon {
                Layout.alignment: Qt.AlignTop
                name: "info"
                color: Theme.textSecondary
            }
            AppLabel {
                objectName: "summaryNote"
                Layout.fillWidth: true
                text: qsTr("Filters apply to loaded entries. Open a summarized folder to load more details from the index.")
                font.pixelSize: Theme.sizeCaption
                secondary: true
                wrapMode: Text.Wrap
            }
        }

        Hairline {
            Layout.fillWidth: true
        }

        FileListHeader {
            Layout.fillWidth: true
            model: rows
            columns: columns
        }

        Hairline {
            Layout.fillWidth: true
        }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: Theme.rowHeight

            ListView {
                id: list
                objectName: "fileList"

                // Whether the keyboard moved the current row last: only then it needs a ring.
                property bool followsKeyboard: false

                anchors.fill: parent
                focus: true
                activeFocusOnTab: true
                clip: true
                reuseItems: true
                boundsBehavior: Flickable.StopAtBounds
                keyNavigationEnabled: false
                highlightFollowsCurrentItem: false
                currentIndex: -1
                model: rows

                Accessible.role: Accessible.List
                Accessible.name: qsTr("Entries of the folder")

                T.ScrollBar.vertical: AppScrollBar {
                    id: scrollBar
                }

                delegate: FileListRow {
                    width: ListView.view.width
                    columns: view.columnsOfRows
                    isCurrent: ListView.isCurrentItem
                    hasRing: ListView.isCurrentItem && list.activeFocus && list.followsKeyboard
                    onPointerCame: rows.hover(index)
                    onPointerGone: rows.leave(index)
                    onChosen: view.choose(index)
                    onMarked: view.mark(index)
                    onOpened: rows.open(index)
                    onMenuRequested: (x, y) => view.openMenu(index, this, x, y)
                }

                function showCurrentRow() {
                    currentIndex = rows.currentRow;
                    if (currentIndex >= 0) {
                        positionViewAtIndex(currentIndex, ListView.Contain);
                    }
                }

                function moveTo(row: int) {
                    followsKeyboard = true;
                    rows.currentRow = Math.max(0, Math.min(count - 1, row));
                }

                readonly property int rowsPerPage: Math.max(1, Math.floor(height / Theme.rowHeight) - 1)

                onActiveFocusChanged: followsKeyboard = true

                Keys.onUpPressed: moveTo(currentIndex < 0 ? count - 1 : currentIndex - 1)
                Keys.onDownPressed: moveTo(currentIndex + 1)
                Keys.onReturnPressed: rows.open(currentIndex)
                Keys.onEnterPressed: rows.open(currentIndex)
                Keys.onMenuPressed: view.openMenuAtCurrentRow()
                Keys.onDeletePressed: view.reviewRequested()
                Keys.onPressed: event => view.handleKey(event)
            }

            FocusRing {
                gap: -3
                shown: list.activeFocus && list.currentIndex < 0
            }

            FileListEmptyState {
                anchors.fill: parent
                visible: rows.emptyReason !== FileListModel.NotEmpty
                model: rows
            }
        }

        FileListNotice {
            Layout.fillWidth: true
            text: rows.notice
            onDismissed: rows.dismissNotice()
        }
    }

    readonly property FileListColumns columnsOfRows: columns

    function choose(row: int) {
        list.followsKeyboard = false;
        list.forceActiveFocus(Qt.MouseFocusReason);
        list.followsKeyboard = false;
        rows.currentRow = row;
    }

    function mark(row: int) {
        choose(row);
        rows.toggleMark(row);
    }

    function openMenu(row: int, item: Item, x: real, y: real) {
        choose(row);
        contextMenu.openFor(row, item, x, y);
    }

    function openMenuAtCurrentRow() {
        if (list.currentItem) {
            contextMenu.openFor(list.currentIndex, list.currentItem, Theme.space8, list.currentItem.height);
        }
    }

    // The keys that have no handler of their own: moving in large steps, marking, going back, and typing a name.
    function handleKey(event: var) {
        event.accepted = true;
        const isControl = (event.modifiers & Qt.ControlModifier) !== 0;
        const isAlt = (event.modifiers & Qt.AltModifier) !== 0;
        if (event.key === Qt.Key_PageUp) {
            list.moveTo(list.currentIndex - list.rowsPerPage);
        } else if (event.key === Qt.Key_PageDown) {
            list.moveTo(list.currentIndex + list.rowsPerPage);
        } else if (event.key === Qt.Key_Home) {
            list.moveTo(0);
        } else if (event.key === Qt.Key_End) {
            list.moveTo(list.count - 1);
        } else if (event.key === Qt.Key_Backspace || (event.key === Qt.Key_Left && isAlt)) {
            rows.goBack();
        } else if (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier)) {
            openMenuAtCurrentRow();
        } else if (event.key === Qt.Key_Space && !isControl && !rows.isTypingAhead()) {
            rows.toggleMark(list.currentIndex);
        } else if (event.key === Qt.Key_Y && isControl) {
            quickLook.preview(rows, list.currentIndex);
        } else if (event.key === Qt.Key_C && isControl) {
            rows.copyPath(list.currentIndex);
        } else if (event.text.length > 0 && event.text >= " " && !isControl && !isAlt) {
            const row = rows.typeAhead(event.text);
            if (row >= 0) {
                list.moveTo(row);
            }
        } else {
            event.accepted = false;
        }
    }

    FileListMenu {
        id: contextMenu
        model: rows
        onQuickLookRequested: row => quickLook.preview(rows, row)
        onClosed: list.forceActiveFocus(Qt.PopupFocusReason)
    }

    PreviewPanel {
        id: previewPanel
        source: quickLook
        onClosed: list.forceActiveFocus(Qt.PopupFocusReason)
    }
}
