import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// Our own preview of one item, where the desktop has none: a picture, the beginning of a text, or an icon, and the facts.
T.Popup {
    id: panel

    required property QuickLookDataSource source

    parent: T.Overlay.overlay
    width: Math.min(680 * Theme.typeScale, parent ? parent.width - 2 * Theme.space6 : 680)
    height: Math.min(source.content === QuickLookDataSource.Facts ? implicitContentHeight + 2 * padding
                                                                  : 560 * Theme.typeScale,
                     parent ? parent.height - 2 * Theme.space6 : 560)
    x: parent ? Math.round((parent.width - width) / 2) : 0
    y: parent ? Math.round((parent.height - height) / 2) : 0
    padding: Theme.space4
    modal: true
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside
    onClosed: source.close()

    T.Overlay.modal: Rectangle {
        color: Theme.scrim
    }

    background: PopupSurface {
        radius: Theme.radiusCard
        depth: 10
    }

    Connections {
        target: panel.source
        function onContentChanged() {
            if (panel.source.isOpen) {
                panel.open();
            } else {
                panel.close();
            }
        }
    }

    contentItem: PreviewContent {
        source: panel.source
        focus: true
        onCloseRequested: panel.close()
    }
}
