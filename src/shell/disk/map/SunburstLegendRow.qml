import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// One colour of the map and what it stands for.
RowLayout {
    id: row

    required property string name
    required property color swatch

    spacing: Theme.space2

    Rectangle {
        implicitWidth: Theme.space3
        implicitHeight: Theme.space3
        radius: 3
        color: row.swatch
        Accessible.ignored: true
    }
    AppLabel {
        Layout.fillWidth: true
        text: row.name
        font.pixelSize: Theme.sizeCaption
        elide: Text.ElideMiddle
    }
}
