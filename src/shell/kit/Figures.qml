pragma ComponentBehavior: Bound

import QtQuick
import Larkfold.Shell

// A figure that changes while it is read: every digit takes the same room, so that nothing moves but what changes. The
// toolkit cannot ask a font for its tabular digits.
Row {
    id: figures

    property string text: ""
    property int pixelSize: Theme.sizeTitle
    property color color: Theme.text

    FontMetrics {
        id: metrics
        font.pixelSize: figures.pixelSize
        font.weight: Font.DemiBold
    }
    readonly property real digitWidth: Math.ceil(metrics.advanceWidth("0"))

    Repeater {
        model: figures.text.length

        Text {
            required property int index
            readonly property string character: figures.text.charAt(index)
            readonly property bool isDigit: character >= "0" && character <= "9"

            width: isDigit ? figures.digitWidth : implicitWidth
            horizontalAlignment: Text.AlignHCenter
            text: character
            color: figures.color
            font: metrics.font
            textFormat: Text.PlainText
        }
    }
}
