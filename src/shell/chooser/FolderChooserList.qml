pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
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

            ListView {
                id: list
                objectName: "chooserList"

                // Whether the keyboard moved the current row last: only then it needs a ring.
                property bool followsKeyboard: true
                readonly property int rowsPerPage: Math.max(1, Math.floor(height / Theme.rowHeight) - 1)

                anchors.fill: parent
                focus: true
                activeFocusOnTab: true
                clip: true
                reuseItems: true
                boundsBehavior: Flickable.StopAtBounds
                keyNavigationEnabled: false
                highlightFollowsCurrentItem: false
                currentIndex: -1
                model: view.model
                T.ScrollBar.vertical: AppScrollBar {}
                Accessible.role: Accessible.List
                Accessible.name: (view.model.choosesFiles ? qsTr("Folders and files in %1") : qsTr("Folders in %1"))
                    .arg(view.model.folderName)
                Accessible.description: view.model.countText

                function moveTo(row: int) {
                    followsKeyboard = true;
                    view.model.currentRow = Math.max(0, Math.min(count - 1, row));
                }

                function choose(row: int, modifiers: int) {
                    list.forceActiveFocus(Qt.MouseFocusReason);
                    followsKeyboard = false;
                    if (modifiers & Qt.ShiftModifier && view.model.choosesSeveral) {
                        view.model.checkThrough(row);
                        return;
                    }
                    view.model.currentRow = row;
                    if (modifiers & Qt.ControlModifier) {
                        view.model.toggleCheck(row);
                    }
                }

                // Onto the row that arrow keys lead to; with Shift all on the way are checked.
                function step(row: int, modifiers: int) {
                    if (modifiers & Qt.ShiftModifier && view.model.choosesSeveral) {
                        followsKeyboard = true;
                        view.model.checkThrough(Math.max(0, Math.min(count - 1, row)));
                    } else {
                        moveTo(row);
                    }
                }

                onActiveFocusChanged: followsKeyboard = true

                Keys.onUpPressed: event => view.handleArrow(event, currentIndex < 0 ? count - 1 : currentIndex - 1)
                Keys.onDownPressed: event => view.handleArrow(event, currentIndex + 1)
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

            FocusRing {
                gap: -3
                shown: list.activeFocus && list.currentIndex < 0
            }

            ColumnLayout {
                anchors.centerIn: parent
                width: parent.width - 2 * Theme.space6
                visible: view.model.isEmpty || view.model.isListing
                spacing: Theme.space2

                AppIcon {
                    visible: view.model.isEmpty
                    Layout.alignment: Qt.AlignHCenter
                    name: view.model.isUnreadable ? "warning" : "folder-open"
                    size: Math.round(32 * Theme.typeScale)
                    color: view.model.isUnreadable ? Theme.review : Theme.textSecondary
                }
                AppLabel {
                    visible: text.length > 0
                    Layout.fillWidth: true
                    horizontalAlignment: Text.AlignHCenter
                    text: view.model.emptyTitle
                    font.weight: Font.DemiBold
                    wrapMode: Text.Wrap
                }
                AppLabel {
                    visible: text.length > 0
                    Layout.fillWidth: true
                    horizontalAlignment: Text.AlignHCenter
                    text: view.model.isListing ? view.model.listingText : view.model.emptyText
                    secondary: true
                    wrapMode: Text.Wrap
                }
                AppProgressBar {
                    visible: view.model.isListing
                    Layout.alignment: Qt.AlignHCenter
                    Layout.preferredWidth: Math.min(parent.width, 200 * Theme.typeScale)
                    indeterminate: true
                    Accessible.name: view.model.listingText
                }
            }
        }

        FileListNotice {
            Layout.fillWidth: true
            text: view.model.notice
            dismissible: false
        }
    }

    Connections {
        target: view.model

        function onCurrentRowChanged() {
            list.currentIndex = view.model.currentRow;
            if (list.currentIndex >= 0) {
                list.positionViewAtIndex(list.currentIndex, ListView.Contain);
            }
        }
    }

    function handleArrow(event: var, row: int) {
        if (event.modifiers & Qt.AltModifier) {
            event.accepted = false;  // the dialog goes up
        } else {
            list.step(row, event.modifiers);
        }
    }

    // The keys that have no handler of their own: going in and up, moving in large steps, checking, typing a name or a path.
    function handleKey(event: var) {
        const isControl = (event.modifiers & Qt.ControlModifier) !== 0;
        const isAlt = (event.modifiers & Qt.AltModifier) !== 0;
        event.accepted = true;
        if ((event.key === Qt.Key_Return || event.key === Qt.Key_Enter) && !isControl) {
            model.activate();
        } else if (event.key === Qt.Key_Backspace || (event.key === Qt.Key_Left && isAlt)) {
            model.goUp();
        } else if (event.key === Qt.Key_PageUp) {
            list.step(list.currentIndex - list.rowsPerPage, event.modifiers);
        } else if (event.key === Qt.Key_PageDown) {
            list.step(list.currentIndex + list.rowsPerPage, event.modifiers);
        } else if (event.key === Qt.Key_Home) {
            list.step(0, event.modifiers);
        } else if (event.key === Qt.Key_End) {
            list.step(list.count - 1, event.modifiers);
        } else if (view.model.choosesSeveral && event.key === Qt.Key_A && isControl) {
            model.checkAllRows();
        } else if (view.model.choosesSeveral && event.key === Qt.Key_Space && !isAlt && (isControl || !model.isTypingAhead())) {
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
