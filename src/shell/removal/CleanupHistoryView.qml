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

    // There are no rows beside which a failure could be told.
    readonly property bool showsFailure: history.isUnreadable && !history.hasOperations

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
            visible: page.history.error.length > 0 && !page.showsFailure
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

            SectionList {
                id: list
                objectName: "historyList"

                anchors.fill: parent
                sections: page.history
                usualRowHeight: 56 * Theme.typeScale
                Accessible.name: qsTr("Cleanup operations")
                onActivated: row => page.history.locateInTrash(row)
                onCurrentIndexChanged: page.history.dismissNotice()

                Keys.onPressed: event => {
                    event.accepted = true;
                    if (event.matches(StandardKey.Copy)) {
                        page.history.copyPath(currentIndex);
                    } else {
                        event.accepted = takeKey(event);
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
            ErrorState {
                anchors.fill: parent
                visible: page.showsFailure
                title: qsTr("The history cannot be shown")
                reason: page.history.error
                unharmed: page.history.errorHint
                actionText: qsTr("Try Again")
                onTriggered: page.history.load()
            }
            ProgressPage {
                anchors.fill: parent
                visible: page.history.isLoading
                text: qsTr("Reading the history…")
            }
        }

        ListNotice {
            Layout.fillWidth: true
            text: page.history.notice
            onDismissed: page.history.dismissNotice()
        }
    }
}
