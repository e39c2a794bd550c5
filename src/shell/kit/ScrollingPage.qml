import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// What fills a window from the top and scrolls where it is longer: by wheel, by the arrow and page keys where nothing
// else uses them, and by itself to what gets the keyboard.
Flickable {
    id: page

    property string title: ""
    property real margin: Theme.space5
    property alias spacing: column.spacing
    // False where nothing else could have the keyboard.
    property bool showsFocus: true
    default property alias content: column.data

    contentWidth: width
    contentHeight: column.implicitHeight + 2 * margin
    boundsBehavior: Flickable.StopAtBounds
    clip: true
    activeFocusOnTab: contentHeight > height
    T.ScrollBar.vertical: AppScrollBar {}
    Accessible.role: Accessible.Pane
    Accessible.name: title
    Keys.onUpPressed: scrollBy(-Theme.rowHeight)
    Keys.onDownPressed: scrollBy(Theme.rowHeight)
    Keys.onPressed: event => {
        const pages = {[Qt.Key_PageUp]: -0.9, [Qt.Key_PageDown]: 0.9, [Qt.Key_Home]: -Infinity, [Qt.Key_End]: Infinity};
        if (event.key in pages) {
            scrollBy(pages[event.key] * height);
            event.accepted = true;
        }
    }

    function scrollBy(distance: real) {
        contentY = Math.max(0, Math.min(contentHeight - height, contentY + distance));
    }

    // The control that has the keyboard now is brought into sight.
    readonly property Item focused: Window.activeFocusItem
    onFocusedChanged: {
        for (let item = focused; item; item = item.parent) {
            if (item === column) {
                const top = focused.mapToItem(column, 0, 0).y + margin;
                const room = Math.min(focused.height + 2 * Theme.space4, height);
                contentY = Math.max(0, Math.min(contentHeight - height,
                                                Math.max(top + room - Theme.space4 - height,
                                                         Math.min(contentY, top - Theme.space4))));
                return;
            }
        }
    }

    ColumnLayout {
        id: column
        x: page.margin
        y: page.margin
        width: page.width - 2 * page.margin
        spacing: Theme.space5
    }

    FocusRing {
        parent: page
        shown: page.activeFocus && page.showsFocus
        gap: -2
    }
}
