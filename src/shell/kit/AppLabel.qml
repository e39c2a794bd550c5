import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A text in the interface's type. `secondary` steps back.
T.Label {
    property bool secondary: false

    color: secondary ? Theme.textSecondary : Theme.text
    linkColor: Theme.link
    font.pixelSize: Theme.sizeBody
    textFormat: Text.PlainText
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
