import QtQuick
import Larkfold.Shell

// What the disc of the map says: the hovered thing, or the folder on display. Kept within the disc; where that is too
// small for a size to be read in full, nothing.
Item {
    id: info

    required property string name
    required property string sizeText
    required property string itemsText

    // The disc's diameter.
    property real size: 0

    readonly property bool isSmall: size < 96 * Theme.typeScale

    width: size
    height: size
    visible: size >= 64 * Theme.typeScale

    Column {
        anchors.centerIn: parent
        width: info.size * 0.82
        spacing: 1

        AppLabel {
            objectName: "centerName"
            width: parent.width
            text: info.name
            color: Theme.textOnAccent
            font.pixelSize: info.isSmall ? Theme.sizeCaption : Theme.sizeBody
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            elide: Text.ElideMiddle
            maximumLineCount: 1
        }
        AppLabel {
            objectName: "centerSize"
            width: parent.width
            text: info.sizeText
            color: Theme.textOnAccent
            font.pixelSize: info.isSmall ? Theme.sizeCaption : Theme.sizeEmphasis
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            elide: Text.ElideRight
        }
        AppLabel {
            objectName: "centerItems"
            visible: info.itemsText.length > 0 && !info.isSmall
            width: parent.width
            text: info.itemsText
            color: Theme.textOnAccent
            font.pixelSize: Theme.sizeCaption
            horizontalAlignment: Text.AlignHCenter
            elide: Text.ElideRight
        }
    }
}
