pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The tab of past removals: what went, where it is now, and how to get it back.
T.Control {
    id: page

    required property MainView view
    required property CleanupHistoryTab tab
    readonly property CleanupHistoryModel history: tab.history

    Toolbar {
        id: toolbar
        anchors.left: parent.left
        anchors.right: parent.right
        title: qsTr("Cleanup History")

        AppButton {
            text: qsTr("Clear history")
            icon.name: "trash"
            enabled: page.history.canClear
            onClicked: page.history.clearConfirmation = true
        }
    }

    background: Rectangle {
        color: Theme.surface
    }

    ColumnLayout {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: toolbar.bottom
        anchors.bottom: parent.bottom
        spacing: 0

        ColumnLayout {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.space5
            Layout.rightMargin: Theme.space5
            Layout.topMargin: Theme.space3
            Layout.bottomMargin: Theme.space3
            spacing: Theme.space1

            AppLabel {
                Layout.fillWidth: true
                text: qsTr("The latest 100 operations are stored on this %1. Clearing history does not delete or restore files.").arg(Words.computer)
                secondary: true
                wrapMode: Text.Wrap
            }
            AppLabel {
                Layout.fillWidth: true
                text: qsTr("Free-space change is measured per volume before and after cleanup. Other apps, %1 snapshots and delayed reclamation can affect it; it is not a guaranteed saving attributable to these files.").arg(Words.fileSystem)
                secondary: true
                font.pixelSize: Theme.sizeCaption
                wrapMode: Text.Wrap
                lineHeight: 1.2
            }
        }

        InlineMessage {
            visible: page.history.error.length > 0
            Layout.fillWidth: true
            Layout.leftMargin: Theme.space5
            Layout.rightMargin: Theme.space5
            Layout.bottomMargin: Theme.space3
            text: page.history.error
            detail: page.history.errorHint
            onDismissed: page.history.dismissError()
        }
        InlineMessage {
            visible: page.history.journalProblem.length > 0
            Layout.fillWidth: true
            Layout.leftMargin: Theme.space5
            Layout.rightMargin: Theme.space5
            Layout.bottomMargin: Theme.space3
            text: page.history.journalProblem
            onDismissed: page.history.dismissJournalProblem()
        }

        Hairline {
            Layout.fillWidth: true
        }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            ListView {
                id: list
                objectName: "historyList"

                // Whether the keyboard moved the current row last: only then it needs a ring.
                property bool followsKeyboard: true
                readonly property int rowsPerPage: Math.max(1, Math.floor(height / (56 * Theme.typeScale)))

                anchors.fill: parent
                visible: count > 0
                focus: true
                activeFocusOnTab: true
                clip: true
                reuseItems: true
                model: page.history
                boundsBehavior: Flickable.StopAtBounds
                keyNavigationEnabled: false
                highlightFollowsCurrentItem: false
                currentIndex: 0
                T.ScrollBar.vertical: AppScrollBar {}
                Accessible.role: Accessible.List
                Accessible.name: qsTr("Cleanup operations")

                function moveTo(row: int) {
                    followsKeyboard = true;
                    currentIndex = Math.max(0, Math.min(count - 1, row));
                    positionViewAtIndex(currentIndex, ListView.Contain);
                }

                function choose(row: int) {
                    forceActiveFocus(Qt.MouseFocusReason);
                    followsKeyboard = false;
                    currentIndex = row;
                }

                // An operation opens or closes; of an item the place in Trash is shown.
                function activate(row: int) {
                    currentIndex = row;
                    page.history.toggle(row);
                    page.history.locateInTrash(row);
                }

                onActiveFocusChanged: followsKeyboard = true

                Keys.onUpPressed: moveTo(currentIndex - 1)
                Keys.onDownPressed: moveTo(currentIndex + 1)
                Keys.onReturnPressed: activate(currentIndex)
                Keys.onEnterPressed: activate(currentIndex)
                Keys.onSpacePressed: activate(currentIndex)
                Keys.onRightPressed: {
                    if (!(currentItem as CleanupHistoryRow)?.isOpen) {
                        page.history.toggle(currentIndex);
                    }
                }
                Keys.onLeftPressed: {
                    moveTo(page.history.operationRowOf(currentIndex));
                    if ((currentItem as CleanupHistoryRow)?.isOpen) {
                        page.history.toggle(currentIndex);
                    }
                }
                Keys.onPressed: event => {
                    event.accepted = true;
                    if (event.matches(StandardKey.Copy)) {
                        page.history.copyPath(currentIndex);
                    } else if (event.key === Qt.Key_PageUp) {
                        moveTo(currentIndex - rowsPerPage);
                    } else if (event.key === Qt.Key_PageDown) {
                        moveTo(currentIndex + rowsPerPage);
                    } else if (event.key === Qt.Key_Home) {
                        moveTo(0);
                    } else if (event.key === Qt.Key_End) {
                        moveTo(count - 1);
                    } else {
                        event.accepted = false;
                    }
                }

                delegate: CleanupHistoryRow {
                    width: ListView.view.width
                    isCurrent: ListView.isCurrentItem && list.activeFocus
                    hasRing: isCurrent && list.followsKeyboard
                    help: page.history.restoreHelp
                    onChosen: list.choose(index)
                    onActivated: list.activate(index)
                    onLocateRequested: page.history.locateInTrash(index)
                }
            }

            EmptyState {
                anchors.fill: parent
                visible: page.history.isEmpty
                iconName: "history"
                title: qsTr("No cleanup operations yet")
                text: qsTr("What you remove with Larkfold is listed here, with the place where it is now.")
            }
            EmptyState {
                anchors.fill: parent
                visible: page.history.isUnreadable && !page.history.hasOperations
                iconName: "warning"
                title: qsTr("The history cannot be shown")
                actionText: qsTr("Try Again")
                onTriggered: page.history.load()
            }
            AppProgressBar {
                anchors.centerIn: parent
                visible: page.history.isLoading
                indeterminate: true
                Accessible.name: qsTr("Reading the history")
            }
        }
    }
}
