import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A short explanation beside what is pointed at or has the keyboard.
T.ToolTip {
    id: control

    x: parent ? Math.round((parent.width - implicitWidth) / 2) : 0
    y: -implicitHeight - Theme.space1
    implicitWidth: Math.min(implicitContentWidth + leftPadding + rightPadding, 360 * Theme.typeScale)
    implicitHeight: contentHeight + topPadding + bottomPadding
    contentWidth: Math.min(implicitContentWidth, 360 * Theme.typeScale - leftPadding - rightPadding)
    margins: Theme.space2
    horizontalPadding: Theme.space2
    verticalPadding: Theme.space1
    delay: 500
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutsideParent
    font.pixelSize: Theme.sizeCaption

    contentItem: Text {
        text: control.text
        font: control.font
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
        color: Theme.toolTipText
    }

    background: Rectangle {
        radius: Theme.radiusControl
        color: Theme.toolTip
    }
}
