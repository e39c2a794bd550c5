import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A list of rows that is walked by the keyboard: one row after another, by pages, to both ends. It asks for a row with
// `rowWanted`; who answers sets `currentIndex`, by `show` or by a model that keeps the current row itself.
ListView {
    id: list

    // Whether the keyboard moved the current row last: only then it needs a ring.
    property bool followsKeyboard: true
    // About how high a row is, for steps of a page.
    property real usualRowHeight: Theme.rowHeight
    readonly property int rowsPerPage: Math.max(1, Math.floor(height / usualRowHeight) - 1)

    // With the keys that were held, for lists in which several rows may be chosen.
    signal rowWanted(row: int, modifiers: int)

    // By the keyboard. Before the first row, or behind the last, it is that one.
    function moveTo(row: int, modifiers: var) {
        followsKeyboard = true;
        if (count > 0) {
            rowWanted(Math.max(0, Math.min(count - 1, row)), modifiers || 0);
        }
    }

    // By the pointer.
    function choose(row: int, modifiers: var) {
        forceActiveFocus(Qt.MouseFocusReason);
        followsKeyboard = false;
        rowWanted(row, modifiers || 0);
    }

    function show(row: int) {
        currentIndex = row;
        if (row >= 0) {
            positionViewAtIndex(row, ListView.Contain);
        }
    }

    // Whether the key moved the current row. With Alt the keys belong to whoever stands around the list, and so do
    // pages where the list itself does not scroll.
    function takeMove(event: var): bool {
        const isPage = event.key === Qt.Key_PageUp || event.key === Qt.Key_PageDown;
        if (event.modifiers & Qt.AltModifier || isPage && !interactive) {
            return false;
        }
        switch (event.key) {
        case Qt.Key_Up:
            moveTo(currentIndex < 0 ? count - 1 : currentIndex - 1, event.modifiers);
            return true;
        case Qt.Key_Down:
            moveTo(currentIndex + 1, event.modifiers);
            return true;
        case Qt.Key_PageUp:
            moveTo(currentIndex - rowsPerPage, event.modifiers);
            return true;
        case Qt.Key_PageDown:
            moveTo(currentIndex + rowsPerPage, event.modifiers);
            return true;
        case Qt.Key_Home:
            moveTo(0, event.modifiers);
            return true;
        case Qt.Key_End:
            moveTo(count - 1, event.modifiers);
            return true;
        default:
            return false;
        }
    }

    clip: true
    reuseItems: true
    focus: true
    activeFocusOnTab: true
    boundsBehavior: Flickable.StopAtBounds
    keyNavigationEnabled: false
    highlightFollowsCurrentItem: false
    T.ScrollBar.vertical: AppScrollBar {}
    Accessible.role: Accessible.List
    onActiveFocusChanged: followsKeyboard = true

    FocusRing {
        parent: list
        gap: -3
        shown: list.activeFocus && list.currentIndex < 0
    }
}
