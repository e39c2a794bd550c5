import QtQuick
import Larkfold.Shell

// A list of sections that open and close. Right opens the section of a header, Left closes the one that a row belongs to
// and leads to its header, Return and Space do what a press does: a header opens or closes, and either is `activated`.
RowList {
    id: list

    required property SectionListModel sections

    signal activated(row: int)

    function activate(row: int) {
        currentIndex = row;
        sections.toggle(row);
        activated(row);
    }

    model: sections
    currentIndex: 0
    visible: count > 0
    onRowWanted: row => show(row)

    // Whether the key was one of these.
    function takeKey(event: var): bool {
        if (takeMove(event)) {
            return true;
        }
        if (event.modifiers & Qt.AltModifier) {
            return false;
        }
        switch (event.key) {
        case Qt.Key_Return:
        case Qt.Key_Enter:
        case Qt.Key_Space:
            activate(currentIndex);
            return true;
        case Qt.Key_Right:
            moveTo(sections.goRight(currentIndex));
            return true;
        case Qt.Key_Left:
            moveTo(sections.goLeft(currentIndex));
            return true;
        default:
            return false;
        }
    }
}
