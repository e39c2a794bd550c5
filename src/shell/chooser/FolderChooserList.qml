pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The folders in the current one, each with a box to check where several may be chosen, and behind them the files that
// may be chosen.
FocusScope {
    id: view

    required property FolderChooserModel model

    Rectangle {
        anchors.fill: parent
        color: Theme.surface
        radius: Theme.radiusControl
        border.width: 1
        border.color: Theme.hairline
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 1
        spacing: 0

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            RowList {
                id: list
                objectName: "chooserList"

                anchors.fill: parent
                currentIndex: -1
                model: view.model
                Accessible.name: (view.model.choosesFiles ? qsTr("Folders and files in %1") : qsTr("Folders in %1"))
                    .arg(view.model.folderName)
                Accessible.description: view.model.countText
                // With Shift all on the way are checked, with Ctrl the one that is pressed.
                onRowWanted: (row, modifiers) => {
                    if (modifiers & Qt.ShiftModifier && view.model.choosesSeveral) {
                        view.model.checkThrough(row);
                        return;
                    }
                    view.model.currentRow = row;
                    if (modifiers & Qt.ControlModifier && !list.followsKeyboard) {
                        view.model.toggleCheck(row);
                    }
                }
                Keys.onPressed: event => view.handleKey(event)

                delegate: Rectangle {
                    id: row

                    required property string name
                    required property string spokenText
                    required property bool isHidden
                    required property bool isFile
                    required property bool isChecked
                    required property int index
                    readonly property bool isCurrent: ListView.isCurrentItem

                    width: ListView.view.width
                    implicitHeight: Theme.rowHeight
                    color: isCurrent ? Theme.selection : pointer.containsMouse ? Theme.hover : "transparent"
                    Accessible.role: Accessible.ListItem
                    Accessible.name: spokenText
                    Accessible.focusable: true
                    Accessible.focused: list.activeFocus && isCurrent
                    Accessible.selectable: true
                    Accessible.selected: isCurrent
                    Accessible.checkable: view.model.choosesSeveral
                    Accessible.checked: isChecked
                    Accessible.onPressAction: view.model.open(index)
                    Accessible.onToggleAction: view.model.toggleCheck(index)

                    MouseArea {
                        id: pointer
                        anchors.fill: parent
                        hoverEnabled: true
                        onClicked: event => list.choose(row.index, event.modifiers)
                        onDoubleClicked: event => {
                            if (event.modifiers === Qt.NoModifier) {
                                view.model.open(row.index);
                            }
                        }
                    }
                    // As tall and wide as the row leaves room for, so that it is not missed.
                    MouseArea {
                        id: box
                        visible: view.model.choosesSeveral
                        width: visible ? Theme.iconSmall + 2 * Theme.space3 : Theme.space3
                        height: parent.height
                        onClicked: list.choose(row.index, Qt.ControlModifier)

                        Rectangle {
                            anchors.centerIn: parent
                            visible: box.visible
                            width: Theme.iconSmall
                            height: Theme.iconSmall
                            radius: Theme.space1
                            color: row.isChecked ? Theme.accentFill : Theme.surfaceRaised
                            border.width: row.isChecked ? 0 : 1
                            border.color: Theme.textSecondary

                            AppIcon {
                                anchors.centerIn: parent
                                visible: row.isChecked
                                name: "check"
                                size: Math.round(12 * Theme.typeScale)
                                color: Theme.textOnAccent
                            }
                        }
                    }
                    AppIcon {
                        id: glyph
                        anchors.left: box.right
                        anchors.verticalCenter: parent.verticalCenter
                        name: row.isFile ? "file" : "folder"
                        color: Theme.textSecondary
                    }
                    Text {
                        anchors.left: glyph.right
                        anchors.leftMargin: Theme.space2
                        anchors.right: arrow.left
                        anchors.rightMargin: Theme.space2
                        anchors.verticalCenter: parent.verticalCenter
                        text: row.name
                        color: row.isHidden ? Theme.textSecondary : Theme.text
                        font.pixelSize: Theme.sizeBody
                        elide: Text.ElideMiddle
                        textFormat: Text.PlainText
                    }
                    AppIcon {
                        id: arrow
                        visible: !row.isFile && (row.isCurrent || pointer.containsMouse)
                        anchors.right: parent.right
                        anchors.rightMargin: Theme.space3
                        anchors.verticalCenter: parent.verticalCenter
                        name: "chevron-right"
                        size: Math.round(12 * Theme.typeScale)
                        color: Theme.textSecondary
                    }
                    FocusRing {
                        gap: -3
                        shown: row.isCurrent && list.activeFocus && list.followsKeyboard
                    }
                }
            }

            EmptyState {
                anchors.fill: parent
                visible: view.model.isEmpty && !view.model.isUnreadable
                shrinks: true
                iconName: "folder-open"
                title: view.model.emptyTitle
                text: view.model.emptyText
            }
            ErrorState {
                anchors.fill: parent
                visible: view.model.isUnreadable
                shrinks: true
                title: view.model.emptyTitle
                reason: view.model.emptyText
            }
            ProgressPage {
                anchors.fill: parent
                visible: view.model.isListing
                text: view.model.listingText
            }
        }

        ListNotice {
            Layout.fillWidth: true
            text: view.model.notice
            dismissible: false
        }
    }

    Connections {
        target: view.model

        function onCurrentRowChanged() {
            list.show(view.model.currentRow);
        }
    }

    // Going in and up, checking, and typing a name or a path. With Alt the arrows go where the dialog says.
    function handleKey(event: var) {
        const isControl = (event.modifiers & Qt.ControlModifier) !== 0;
        const isAlt = (event.modifiers & Qt.AltModifier) !== 0;
        event.accepted = true;
        if (list.takeMove(event)) {
            return;
        }
        if ((event.key === Qt.Key_Return || event.key === Qt.Key_Enter) && !isControl) {
            model.activate();
        } else if (event.key === Qt.Key_Backspace || (event.key === Qt.Key_Left && isAlt)) {
            model.goUp();
        } else if (view.model.choosesSeveral && event.key === Qt.Key_A && isControl) {
            model.checkAllRows();
        } else if (view.model.choosesSeveral && event.key === Qt.Key_Space && !isAlt && list.currentIndex >= 0 && (isControl || !model.isTypingAhead())) {
            list.followsKeyboard = true;
            model.toggleCheck(list.currentIndex);
        } else if (event.text.length > 0 && event.text > " " && !isControl && !isAlt || event.text === " " && model.isTypingAhead()) {
            list.followsKeyboard = true;
            model.typeText(event.text);
        } else {
            event.accepted = false;
        }
    }
}
