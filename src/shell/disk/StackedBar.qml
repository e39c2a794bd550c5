import QtQuick
import Larkfold.Shell

// The parts of a whole side by side. Whoever uses it gives it the sentence that says the same.
Item {
    id: bar

    // Of the whole, from 0 to 1 together; what is left is free.
    property real used: 0
    property real reserved: 0

    readonly property int gap: 2
    // A part that is there can be seen, however small it is.
    readonly property int least: 3
    readonly property int usedWidth: used > 0 ? Math.max(least, Math.round(width * used)) : 0
    readonly property int reservedWidth: reserved > 0 ? Math.max(least, Math.round(width * reserved)) : 0
    readonly property int reservedX: usedWidth > 0 ? usedWidth + gap : 0
    readonly property int freeX: reservedWidth > 0 ? reservedX + reservedWidth + gap : reservedX

    implicitWidth: 200
    implicitHeight: 8
    clip: true
    Accessible.role: Accessible.Graphic

    PartFill {
        objectName: "usedPart"
        visible: width > 0
        width: bar.usedWidth
        height: bar.height
        kind: PartFill.Used
    }
    PartFill {
        objectName: "reservedPart"
        visible: width > 0
        x: bar.reservedX
        width: bar.reservedWidth
        height: bar.height
        kind: PartFill.Reserved
    }
    PartFill {
        objectName: "freePart"
        visible: width > 0
        x: bar.freeX
        width: Math.max(0, bar.width - bar.freeX)
        height: bar.height
        kind: PartFill.Free
    }
}
