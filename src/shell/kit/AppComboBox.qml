pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A choice of one out of a few. `label` is what a screen reader calls it.
T.ComboBox {
    id: control

    property string label: ""

    implicitWidth: Math.max(implicitContentWidth + leftPadding + rightPadding, 88)
    implicitHeight: Theme.controlHeight
    implicitContentWidthPolicy: T.ComboBox.WidestText
    leftPadding: Theme.space2 + 2
    rightPadding: Theme.space2 + Theme.iconSmall + Theme.space1
    opacity: enabled ? 1 : 0.45
    hoverEnabled: true
    font.pixelSize: Theme.sizeBody

    Accessible.role: Accessible.ComboBox
    Accessible.name: label
    Accessible.description: displayText
    Accessible.onPressAction: control.popup.open()

    // Return opens the list when it is let go: the toolkit takes the same release for a choice where the list is open by
    // then. An open list takes the key itself.
    property bool opensOnRelease: false

    Keys.onReturnPressed: event => control.armOrPass(event)
    Keys.onEnterPressed: event => control.armOrPass(event)
    Keys.onReleased: event => {
        if (opensOnRelease && (event.key === Qt.Key_Return || event.key === Qt.Key_Enter)) {
            opensOnRelease = false;
            popup.open();
            event.accepted = true;
        }
    }

    function armOrPass(event: var) {
        opensOnRelease = !popup.visible;
        event.accepted = opensOnRelease;
    }

    // An input that takes none: only such an item is measured for the widest choice.
    contentItem: TextInput {
        text: control.displayText
        font: control.font
        color: Theme.text
        verticalAlignment: TextInput.AlignVCenter
        readOnly: true
        enabled: false
        clip: true
        Accessible.ignored: true
    }

    indicator: AppIcon {
        x: control.width - width - Theme.space2
        y: Math.round((control.height - height) / 2)
        size: Math.round(12 * Theme.typeScale)
        name: "chevron-down"
        color: Theme.textSecondary
    }

    background: Rectangle {
        radius: Theme.radiusControl
        color: control.down ? Theme.pressed : control.hovered ? Theme.hover : Theme.surfaceRaised
        border.width: 1
        border.color: Theme.controlBorder

        FocusRing {
            shown: control.visualFocus
        }
    }

    delegate: T.ItemDelegate {
        id: row

        required property var model
        required property int index

        width: ListView.view ? ListView.view.width : implicitWidth
        implicitWidth: words.implicitWidth + leftPadding + rightPadding
        implicitHeight: Theme.minimumTarget
        leftPadding: Theme.space3 + Theme.iconSmall
        rightPadding: Theme.space3
        hoverEnabled: control.hoverEnabled
        highlighted: control.highlightedIndex === index
        text: control.textAt(index)
        font: control.font
        Accessible.role: Accessible.ListItem
        Accessible.name: text
        Accessible.onPressAction: row.clicked()

        contentItem: Text { // qmllint disable deferred-property-id
            id: words
            text: row.text
            font: row.font
            color: row.highlighted ? Theme.textOnAccent : Theme.text
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
            textFormat: Text.PlainText
        }
        background: Rectangle {
            anchors.fill: parent
            anchors.leftMargin: Theme.space1
            anchors.rightMargin: Theme.space1
            radius: Theme.space1
            color: row.highlighted ? Theme.accentFill : "transparent"

            AppIcon {
                x: Theme.space1
                anchors.verticalCenter: parent.verticalCenter
                size: Math.round(12 * Theme.typeScale)
                visible: control.currentIndex === row.index
                name: "check"
                color: row.highlighted ? Theme.textOnAccent : Theme.textSecondary
            }
        }
    }

    popup: T.Popup {
        y: control.height + Theme.space1
        width: Math.max(control.width, 168 * Theme.typeScale)
        height: Math.min(contentItem.implicitHeight + topPadding + bottomPadding, 320 * Theme.typeScale)
        verticalPadding: Theme.space1
        margins: Theme.space1

        contentItem: ListView {
            implicitHeight: contentHeight
            clip: true
            model: control.delegateModel
            currentIndex: control.highlightedIndex
            highlightMoveDuration: 0
            T.ScrollBar.vertical: AppScrollBar {}
        }

        background: PopupSurface {}
    }
}
