import QtQuick
import Larkfold.Shell

// One row of a list of sections: a header with the arrow that tells whether it is open, or an item, which stands a step
// further in. What they hold is brought by the page.
Rectangle {
    id: row

    required property int index
    required property bool isHeader
    required property bool isOpen
    required property string spokenText
    required property bool isCurrent
    required property bool hasRing
    // What a header shows beside its arrow, and what the row of an item shows.
    required property Component header
    required property Component item

    // On a wide screen what belongs together stays together.
    property real widest: 1120 * Theme.typeScale

    signal chosen
    signal activated

    implicitHeight: content.implicitHeight + 2 * Theme.space2
    color: isCurrent ? Theme.selection : isHeader && pointer.hovered ? Theme.hover
                                                  : isHeader ? Theme.surface : Theme.rowAlternate
    Accessible.role: Accessible.ListItem
    Accessible.name: spokenText
    Accessible.focusable: true
    Accessible.selectable: true
    Accessible.selected: isCurrent
    Accessible.onPressAction: activated()

    HoverHandler {
        id: pointer
    }
    TapHandler {
        onTapped: {
            row.chosen();
            if (row.isHeader) {
                row.activated();
            }
        }
    }

    AppIcon {
        id: arrow
        visible: row.isHeader
        x: Theme.space5
        y: Math.round((row.height - height) / 2)
        name: row.isOpen ? "chevron-down" : "chevron-right"
        color: Theme.textSecondary
    }
    Loader {
        id: content
        x: Theme.space5 + Theme.iconSmall + Theme.space3
        y: Theme.space2
        width: Math.min(row.width - Theme.space5, row.widest) - x
        sourceComponent: row.isHeader ? row.header : row.item
    }
    Hairline {
        visible: row.isHeader && row.index > 0
        width: parent.width
    }
    FocusRing {
        gap: -3
        shown: row.hasRing
    }
}
