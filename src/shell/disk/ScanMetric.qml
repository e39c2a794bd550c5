import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// One figure of a running scan: it counts up to `value` instead of jumping there. `text` is `shown` in words.
ColumnLayout {
    id: metric

    property string title: ""
    property real value: 0
    property real shown: value
    property string text: ""

    spacing: 2
    Accessible.role: Accessible.StaticText
    Accessible.name: title + ": " + text

    Behavior on shown {
        enabled: !Theme.reducesMotion

        NumberAnimation {
            duration: 350
            easing.type: Easing.OutCubic
        }
    }

    Figures {
        Layout.alignment: Qt.AlignHCenter
        text: metric.text
        pixelSize: Theme.sizeTitle
    }
    AppLabel {
        Layout.fillWidth: true
        Layout.preferredWidth: Math.round(160 * Theme.typeScale)
        Layout.maximumWidth: Layout.preferredWidth
        horizontalAlignment: Text.AlignHCenter
        text: metric.title
        secondary: true
        font.pixelSize: Theme.sizeBody - 1
        Accessible.ignored: true
    }
}
