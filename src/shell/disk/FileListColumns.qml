import QtQuick
import Larkfold.Shell

// Which columns there is room for, and how wide they are. Shared by the header and the rows.
QtObject {
    required property real availableWidth

    // From these widths on.
    readonly property int widthForItems: Math.ceil(420 * Theme.typeScale)
    readonly property int widthForType: Math.ceil(500 * Theme.typeScale)
    readonly property int widthForShareBar: Math.ceil(620 * Theme.typeScale)

    readonly property bool showsItems: availableWidth >= widthForItems
    readonly property bool showsType: availableWidth >= widthForType
    readonly property bool showsShareBar: availableWidth >= widthForShareBar
    // Whether a column that can be sorted by has no room.
    readonly property bool hidesColumns: !showsItems || !showsType

    readonly property int margin: Theme.space3
    readonly property int gap: Theme.space3
    readonly property int shareWidth: Math.round(46 * Theme.typeScale)
    readonly property int shareBarWidth: showsShareBar ? Math.round(64 * Theme.typeScale) : 0
    readonly property int sizeWidth: Math.round(72 * Theme.typeScale)
    readonly property int itemsWidth: Math.round(64 * Theme.typeScale)
    readonly property int typeWidth: Math.round(84 * Theme.typeScale)
    // The scroll bar lies over the end of the rows, and above it the button for the columns that are hidden.
    readonly property int endMargin: hidesColumns ? Theme.minimumTarget : Theme.space4
}
