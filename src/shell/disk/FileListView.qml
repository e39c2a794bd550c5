pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
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
        onCurrentRowChanged: list.show(rows.currentRow)
        onRowsChanged: contextMenu.close()
        onTold: sentence => said.say(sentence)
        onNoticeChanged: {
            if (rows.notice.length === 0) {
                said.clear();
            }
        }
    }

    Announcement {
        id: said
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
            visible: rows.summaryNote.length > 0
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
                text: rows.summaryNote
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

            RowList {
                id: list
                objectName: "fileList"

                anchors.fill: parent
                currentIndex: -1
                model: rows
                Accessible.name: qsTr("Entries of the folder")
                onRowWanted: row => rows.currentRow = row
                Keys.onPressed: event => view.handleKey(event)

                delegate: FileListRow {
                    width: ListView.view.width
                    columns: view.columnsOfRows
                    isCurrent: ListView.isCurrentItem
                    hasRing: ListView.isCurrentItem && list.activeFocus && list.followsKeyboard
                    onPointerCame: rows.hover(index)
                    onPointerGone: rows.leave(index)
                    onChosen: list.choose(index)
                    onMarked: view.mark(index)
                    onOpened: rows.open(index)
                    onMenuRequested: (x, y) => view.openMenu(index, this, x, y)
                }
            }

            EmptyState {
                readonly property bool nothingMatches: rows.emptyReason === FileListModel.NothingMatches
                                                       || rows.emptyReason === FileListModel.NothingLoadedMatches

                anchors.fill: parent
                visible: rows.emptyReason !== FileListModel.NotEmpty
                shrinks: true
                iconName: nothingMatches ? "search" : "folder-open"
                title: rows.emptyTitle
                text: rows.emptyText
                actionText: nothingMatches ? qsTr("Clear search and filters")
                          : rows.emptyReason === FileListModel.EmptyFolder && rows.canGoBack ? qsTr("Go back") : ""
                onTriggered: {
                    // The button that has the keyboard is about to vanish.
                    list.forceActiveFocus(Qt.OtherFocusReason);
                    if (nothingMatches) {
                        rows.resetSearchAndFilters();
                    } else {
                        rows.goBack();
                    }
                }

                AppButton {
                    objectName: "loadMore"
                    visible: rows.emptyReason === FileListModel.NothingLoadedMatches && rows.canLoadMore
                    Layout.alignment: Qt.AlignHCenter
                    Layout.topMargin: Theme.space2
                    kind: AppButton.Primary
                    text: qsTr("Load More Files")
                    onClicked: {
                        list.forceActiveFocus(Qt.OtherFocusReason);
                        rows.loadMore();
                    }
                }
            }
        }

        ListNotice {
            Layout.fillWidth: true
            text: rows.notice
            announces: false
            onDismissed: rows.dismissNotice()
        }
        ListNotice {
            Layout.fillWidth: true
            isQuiet: true
            dismissible: false
            text: rows.notice.length === 0 && columns.hidesColumns ? rows.currentDetails : ""
        }
    }

    readonly property FileListColumns columnsOfRows: columns

    function mark(row: int) {
        list.choose(row);
        rows.toggleMark(row);
    }

    function openMenu(row: int, item: Item, x: real, y: real) {
        list.choose(row);
        contextMenu.openFor(row, item, x, y);
    }

    function openMenuAtCurrentRow() {
        if (list.currentItem) {
            contextMenu.openFor(list.currentIndex, list.currentItem, Theme.space8, list.currentItem.height);
        }
    }

    // Marking, going in and back, what the menu offers, and typing a name.
    function handleKey(event: var) {
        event.accepted = true;
        const isControl = (event.modifiers & Qt.ControlModifier) !== 0;
        const isAlt = (event.modifiers & Qt.AltModifier) !== 0;
        if (list.takeMove(event)) {
            return;
        }
        if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter) {
            rows.open(list.currentIndex);
        } else if (event.key === Qt.Key_Delete) {
            reviewRequested();
        } else if (event.key === Qt.Key_Backspace || (event.key === Qt.Key_Left && isAlt)) {
            rows.goBack();
        } else if (event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier))) {
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
