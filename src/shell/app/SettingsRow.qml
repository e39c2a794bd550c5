import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// One line of the settings: what it is about on the left, its control on the right.
RowLayout {
    id: row

    property string title: ""
    // The value, where it is only told.
    property string value: ""

    spacing: Theme.space3

    AppLabel {
        Layout.fillWidth: true
        text: row.title
        wrapMode: Text.Wrap
    }
    AppLabel {
        visible: text.length > 0
        text: row.value
        secondary: true
        Accessible.name: row.title + " " + row.value
    }
}
