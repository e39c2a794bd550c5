import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// One colour of the map, what it stands for, and how much that is.
RowLayout {
    id: row

    required property string name
    required property color swatch
    property bool hatched: false
    property string sizeText: ""
    // The row for a screen reader.
    property string spokenText: name

    spacing: Theme.space2
    Accessible.role: Accessible.StaticText
    Accessible.name: spokenText

    MapSwatch {
        implicitWidth: Theme.iconSmall
        implicitHeight: Theme.iconSmall
        color: row.swatch
        hatched: row.hatched
        Accessible.ignored: true
    }
    AppLabel {
        id: title
        Layout.fillWidth: true
        text: row.name
        font.pixelSize: Theme.sizeCaption
        elide: Text.ElideMiddle
        Accessible.ignored: true

        HoverHandler {
            id: pointer
        }
        AppToolTip {
            visible: title.truncated && pointer.hovered
            text: row.name
        }
    }
    AppLabel {
        visible: row.sizeText.length > 0
        text: row.sizeText
        secondary: true
        font.pixelSize: Theme.sizeCaption
        Accessible.ignored: true
    }
}
