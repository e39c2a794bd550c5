import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A command of the tab on screen, in the menu bar: its shortcut works whether the menu is open or not.
AppMenuItem {
    id: item

    command: modelData

    required property Command modelData

    action: T.Action {
        text: item.modelData.text
        shortcut: item.modelData.shortcut
        enabled: item.modelData.enabled
        checkable: item.modelData.checkable
        checked: item.modelData.checked
        onTriggered: item.modelData.trigger()
    }
    shortcutText: item.modelData.shortcut
}
