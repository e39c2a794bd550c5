import QtQuick
import Larkfold.Shell

// Which columns there is room for, and how wide they are. Shared by the header and the rows.
QtObject {
    required property real availableWidth

    readonly property bool showsItems: availableWidth >= 420 * Theme.typeScale
    readonly property bool showsType: availableWidth >= 500 * Theme.typeScale
    readonly property bool showsShareBar: availableWidth >= 620 * Theme.typeScale

    readonly property int margin: Theme.space3
    readonly property int gap: Theme.space3
    readonly property int shareWidth: Math.round(46 * Theme.typeScale)
    readonly property int shareBarWidth: showsShareBar ? Math.round(64 * Theme.typeScale) : 0
    readonly property int sizeWidth: Math.round(72 * Theme.typeScale)
    readonly property int itemsWidth: Math.round(64 * Theme.typeScale)
    readonly property int typeWidth: Math.round(84 * Theme.typeScale)
    // The scroll bar lies over the end of the rows.
    readonly property int endMargin: Theme.space4
}
