import QtQuick
import Larkfold.Shell

// What can be done with one row.
AppMenu {
    id: menu

    required property FileListModel model
    property int row: -1
    property bool isMarked: false
    property bool standsForFile: false
    // Why the row cannot be marked; empty where it can.
    property string refusal: ""

    signal quickLookRequested(row: int)

    function openFor(index: int, item: Item, x: real, y: real) {
        row = index;
        isMarked = model.isMarked(index);
        standsForFile = !model.isAggregate(index);
        refusal = isMarked ? "" : model.whyNotMarked(index);
        popup(item, x, y);
    }

    AppMenuItem {
        objectName: "menuMark"
        text: menu.isMarked ? qsTr("Remove from Queue") : qsTr("Add to Deletion Queue")
        icon.name: menu.isMarked ? "unmark" : "mark"
        enabled: menu.refusal.length === 0
        reason: menu.refusal
        shortcutText: qsTr("Space")
        onTriggered: menu.model.toggleMark(menu.row)
    }
    AppMenuSeparator {}
    AppMenuItem {
        objectName: "menuQuickLook"
        text: qsTr("Quick Look")
        icon.name: "eye"
        enabled: menu.standsForFile
        shortcutText: qsTr("%1+Y").arg(Words.commandKey)
        onTriggered: menu.quickLookRequested(menu.row)
    }
    AppMenuItem {
        objectName: "menuReveal"
        text: qsTr("Show in %1").arg(Words.fileManagerButton)
        icon.name: "reveal"
        enabled: menu.standsForFile
        onTriggered: menu.model.reveal(menu.row)
    }
    AppMenuItem {
        objectName: "menuCopyPath"
        text: qsTr("Copy Path")
        icon.name: "copy"
        enabled: menu.standsForFile
        shortcutText: qsTr("%1+C").arg(Words.commandKey)
        onTriggered: menu.model.copyPath(menu.row)
    }
}
