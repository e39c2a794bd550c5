pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// What would go, why, and the decision. Nothing happens until one of the buttons is pressed: the keyboard begins on
// "Cancel", and Return presses only the button that it is on.
AppDialog {
    id: sheet

    required property CleanupReviewModel review

    preferredWidth: 760 * Theme.typeScale
    title: qsTr("Review cleanup")
    titleSize: Theme.sizeTitle
    visible: review.isOpen
    cancelAction: cancelled
    onAboutToShow: showBeginning()

    function showBeginning() {
        list.currentIndex = 0;
        list.positionViewAtBeginning();
    }

    function openMenu(row: int, item: Item, x: real, y: real) {
        if (row >= 0 && item) {
            rowMenu.row = row;
            rowMenu.popup(item, x, y);
        }
    }

    // Where the list has become empty there is nothing in it to stand on.
    function keepKeyboard() {
        if (!review.isOpen) {
            return;
        }
        if (review.count > 0) {
            list.forceActiveFocus(Qt.TabFocusReason);
        } else {
            cancel.forceActiveFocus(Qt.TabFocusReason);
        }
    }

    // The list comes while the sheet is open; the keyboard stays where it is.
    Connections {
        target: sheet.review

        function onIsOpenChanged() {
            if (sheet.review.isOpen) {
                sheet.showBeginning();
            }
        }

        function onTold(sentence) {
            said.say(sentence);
        }

        function onActionTextChanged() {
            if (sheet.review.actionText.length === 0) {
                said.clear();
            }
        }

        function onShownChanged() {
            if (sheet.review.count === 0) {
                sheet.keepKeyboard();
            }
        }
    }
    onOpened: cancel.forceActiveFocus(Qt.TabFocusReason)

    T.Action {
        id: cancelled
        onTriggered: sheet.review.cancel()
    }

    ColumnLayout {
        visible: sheet.review.isPreparing
        Layout.fillWidth: true
        Layout.topMargin: -Theme.space3
        spacing: Theme.space2

        AppLabel {
            Layout.fillWidth: true
            text: sheet.review.preparingText
            font.weight: Font.DemiBold
            Accessible.role: Accessible.AlertMessage
        }
        AppLabel {
            Layout.fillWidth: true
            text: qsTr("The disk is asked whether each of the marked items may be removed. Nothing is removed before you have seen the list.")
            secondary: true
            wrapMode: Text.Wrap
        }
        AppProgressBar {
            Layout.fillWidth: true
            Layout.topMargin: Theme.space2
            value: sheet.review.preparedShare
            // Until the first answer there is nothing to measure by.
            indeterminate: value === 0
            Accessible.name: sheet.review.preparingText
        }
        AppLabel {
            Layout.fillWidth: true
            text: sheet.review.checkedText
        }
        AppLabel {
            Layout.fillWidth: true
            text: sheet.review.awaitedText
            secondary: true
            elide: Text.ElideMiddle
        }
    }

    AppLabel {
        visible: !sheet.review.isPreparing
        Layout.fillWidth: true
        Layout.topMargin: -Theme.space3
        text: sheet.review.summaryText
        Accessible.role: Accessible.AlertMessage
        font.weight: Font.DemiBold
        wrapMode: Text.Wrap
    }
    AppLabel {
        visible: !sheet.review.isPreparing
        Layout.fillWidth: true
        Layout.topMargin: -Theme.space2
        text: qsTr("Review the paths and reasons below. Folder contents are included; nested selections are counted once.")
        secondary: true
        wrapMode: Text.Wrap
    }

    InlineMessage {
        visible: !sheet.review.isPreparing && sheet.review.noticeText.length > 0
        Layout.fillWidth: true
        dismissible: false
        text: sheet.review.noticeText
    }

    Item {
        visible: !sheet.review.isPreparing
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.leftMargin: -sheet.leftPadding + 1
        Layout.rightMargin: -sheet.rightPadding + 1
        Layout.preferredHeight: sheet.review.count > 0 ? Math.min(420 * Theme.typeScale, list.contentHeight + 2)
                                                       : nothing.implicitHeight
        Layout.minimumHeight: Math.min(Layout.preferredHeight, 96 * Theme.typeScale)

        RowList {
            id: list
            objectName: "reviewList"
            anchors.fill: parent
            anchors.topMargin: 1
            anchors.bottomMargin: 1
            visible: count > 0
            model: sheet.review
            usualRowHeight: 80 * Theme.typeScale
            onRowWanted: row => show(row)
            Accessible.name: qsTr("Items to be removed")

            Keys.onPressed: event => {
                event.accepted = true;
                if (takeMove(event)) {
                    return;
                }
                if (event.matches(StandardKey.Copy)) {
                    sheet.review.copyPath(currentIndex);
                } else if (event.key === Qt.Key_Space && event.modifiers === Qt.NoModifier && sheet.review.canDrop) {
                    sheet.review.drop(currentIndex);
                } else if (event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier))) {
                    sheet.openMenu(currentIndex, currentItem, Theme.space8, currentItem ? currentItem.height : 0);
                } else {
                    event.accepted = false;
                }
            }

            delegate: CleanupReviewRow {
                width: ListView.view.width
                isCurrent: ListView.isCurrentItem && list.activeFocus
                margin: sheet.leftPadding
                canDrop: sheet.review.canDrop
                onChosen: list.choose(index)
                onDropped: sheet.review.drop(index)
                onRevealed: sheet.review.reveal(index)
                onMenuRequested: (x, y) => sheet.openMenu(index, this, x, y)
            }
        }
        EmptyState {
            id: nothing
            anchors.fill: parent
            visible: sheet.review.count === 0
            iconName: "mark"
            title: qsTr("Nothing is marked")
            text: qsTr("Mark items in the map or in the list with Space or %1+click. They are listed here before anything happens to them.").arg(Words.commandKey)
        }

        Hairline {
            width: parent.width
        }
        Hairline {
            anchors.bottom: parent.bottom
            width: parent.width
        }
    }

    ListNotice {
        Layout.fillWidth: true
        Layout.topMargin: -Theme.space3
        Layout.leftMargin: -sheet.leftPadding + 1
        Layout.rightMargin: -sheet.rightPadding + 1
        text: sheet.review.actionText
        announces: false
        onDismissed: {
            sheet.review.dismissActionText();
            sheet.keepKeyboard();
        }
    }
    Announcement {
        id: said
    }
    AppMenu {
        id: rowMenu

        property int row: -1

        onClosed: sheet.keepKeyboard()

        AppMenuItem {
            text: qsTr("Remove from Queue")
            icon.name: "unmark"
            enabled: sheet.review.canDrop
            reason: sheet.review.canDrop ? "" : qsTr("This list goes as a whole, or not at all.")
            shortcutText: qsTr("Space")
            onTriggered: sheet.review.drop(rowMenu.row)
        }
        AppMenuItem {
            text: qsTr("Show in %1").arg(Words.fileManagerButton)
            icon.name: "reveal"
            onTriggered: sheet.review.reveal(rowMenu.row)
        }
        AppMenuItem {
            text: qsTr("Copy Path")
            icon.name: "copy"
            shortcutText: "Ctrl+C"
            onTriggered: sheet.review.copyPath(rowMenu.row)
        }
    }

    ColumnLayout {
        visible: sheet.review.count > 0
        Layout.fillWidth: true
        spacing: 2

        AppSwitch {
            id: permanent
            visible: sheet.review.allowsPermanentDeletion
            Layout.fillWidth: true
            text: qsTr("Permanently delete instead of moving to Trash")
            checked: sheet.review.permanent
            Accessible.description: sheet.review.noteText
            onToggled: sheet.review.permanent = checked

            Binding on checked {
                value: sheet.review.permanent
            }
        }
        AppLabel {
            visible: sheet.review.allowsPermanentDeletion
            Layout.fillWidth: true
            Layout.leftMargin: permanent.indicator.width + permanent.spacing
            // As high with either of its texts, so that the buttons stay where they are.
            Layout.preferredHeight: Math.max(implicitHeight, 2 * noteLine.height)
            text: sheet.review.noteText
            color: sheet.review.permanent ? Theme.removal : Theme.textSecondary
            wrapMode: Text.Wrap

            FontMetrics {
                id: noteLine
                font.pixelSize: Theme.sizeBody
            }
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.space2

        Item {
            Layout.fillWidth: true
        }
        AppButton {
            id: cancel
            text: qsTr("Cancel")
            onClicked: sheet.review.cancel()
        }
        AppButton {
            id: confirm
            text: sheet.review.confirmText
            icon.name: "trash"
            kind: sheet.review.permanent ? AppButton.Destructive : AppButton.Primary
            enabled: sheet.review.count > 0
            onClicked: sheet.review.confirm()
        }
    }
}
