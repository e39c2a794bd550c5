import QtQuick
import QtQuick.Templates as T
import QtQuick.Window
import Larkfold.Shell

// A menu of `AppMenuItem`s; actions in it become such items by themselves.
T.Menu {
    id: control

    implicitWidth: Math.max(180 * Theme.typeScale, widest())
    implicitHeight: contentHeight + topPadding + bottomPadding
    margins: Theme.space1
    verticalPadding: Theme.space1
    overlap: 0
    delegate: AppMenuItem {}

    // The list gives every item its own width, so the widest has to be looked for.
    function widest(): real {
        let width = 0;
        for (let i = 0; i < count; ++i) {
            const item = itemAt(i);
            if (item) {
                width = Math.max(width, item.implicitWidth);
            }
        }
        return width;
    }

    contentItem: ListView {
        implicitHeight: contentHeight
        model: control.contentModel
        interactive: Window.window ? contentHeight + control.topPadding + control.bottomPadding > Window.window.height
                                   : false
        clip: true
        currentIndex: control.currentIndex
        T.ScrollIndicator.vertical: T.ScrollIndicator {}
    }

    background: PopupSurface {}
}
