import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// One entry: its kind, name, share of the folder, size, how many items it holds, and its type.
Rectangle {
    id: row

    required property int index
    required property string name
    required property string sizeText
    required property string itemsText
    required property string typeText
    required property string iconName
    required property real share
    required property string shareText
    required property string shareOf
    required property string details
    required property string locationText
    required property string spokenText
    required property bool isAggregate
    required property bool isMarked
    required property bool isHovered
    required property FileListColumns columns
    required property bool isCurrent
    required property bool hasRing

    signal pointerCame()
    signal pointerGone()
    signal chosen()
    signal marked()
    signal opened()
    signal menuRequested(x: real, y: real)

    implicitHeight: Theme.rowHeight
    color: isCurrent ? Theme.selection : isHovered || pointer.containsMouse ? Theme.hover
                                                   : index % 2 === 1 ? Theme.rowAlternate : Theme.surface

    Accessible.role: Accessible.ListItem
    Accessible.name: spokenText
    Accessible.focusable: true
    Accessible.selectable: true
    Accessible.selected: isCurrent
    Accessible.onPressAction: opened()
    Accessible.onToggleAction: marked()

    MouseArea {
        id: pointer
        anchors.fill: parent
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        hoverEnabled: true
        onEntered: row.pointerCame()
        onExited: row.pointerGone()
        onPressed: event => {
            if (event.button === Qt.RightButton) {
                row.menuRequested(event.x, event.y);
            }
        }
        onClicked: event => {
            if (event.button !== Qt.LeftButton) {
                return;
            }
            if (event.modifiers & Qt.ControlModifier) {
                row.marked();
            } else {
                row.chosen();
            }
        }
        onDoubleClicked: event => {
            if (event.button === Qt.LeftButton && !(event.modifiers & Qt.ControlModifier)) {
                row.opened();
            }
        }
    }

    RowLayout {
        id: cells
        anchors.fill: parent
        anchors.leftMargin: row.columns.margin
        anchors.rightMargin: row.columns.endMargin
        spacing: row.columns.gap

        AppIcon {
            name: row.iconName
            color: row.isMarked ? Theme.removal : Theme.textSecondary
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.minimumWidth: 0
            spacing: Theme.space2

            Text {
                id: nameText
                Layout.fillWidth: row.locationText.length === 0
                Layout.maximumWidth: implicitWidth + 1
                Layout.minimumWidth: Math.min(implicitWidth, 80 * Theme.typeScale)
                text: row.name
                color: row.isMarked ? Theme.removal : row.isAggregate ? Theme.textSecondary : Theme.text
                font.pixelSize: Theme.sizeBody
                elide: Text.ElideMiddle
                textFormat: Text.PlainText
            }
            Text {
                visible: row.locationText.length > 0
                Layout.fillWidth: true
                Layout.minimumWidth: 0
                text: row.locationText
                color: Theme.textSecondary
                font.pixelSize: Theme.sizeCaption
                elide: Text.ElideMiddle
                textFormat: Text.PlainText
            }
            Item {
                visible: row.locationText.length === 0
                Layout.fillWidth: true
            }
        }
        AppIcon {
            visible: row.isMarked
            name: "trash"
            size: Math.round(14 * Theme.typeScale)
            color: Theme.removal
        }
        Rectangle {
            visible: row.columns.showsShareBar
            Layout.preferredWidth: row.columns.shareBarWidth
            implicitHeight: 4
            radius: 2
            color: Theme.track

            Rectangle {
                width: Math.round(parent.width * row.share)
                height: parent.height
                radius: 2
                color: Theme.accent
            }
        }
        Text {
            id: shareFigure
            objectName: "shareFigure"
            Layout.preferredWidth: row.columns.shareWidth
            Layout.fillHeight: true
            verticalAlignment: Text.AlignVCenter
            text: row.shareText
            color: Theme.textSecondary
            font.pixelSize: Theme.sizeCaption
            horizontalAlignment: Text.AlignRight
            textFormat: Text.PlainText
        }
        Text {
            Layout.preferredWidth: row.columns.sizeWidth
            text: row.sizeText
            color: Theme.text
            font.pixelSize: Theme.sizeBody
            horizontalAlignment: Text.AlignRight
            textFormat: Text.PlainText
        }
        Text {
            visible: row.columns.showsItems
            Layout.preferredWidth: row.columns.itemsWidth
            text: row.itemsText
            color: Theme.textSecondary
            font.pixelSize: Theme.sizeBody
            horizontalAlignment: Text.AlignRight
            textFormat: Text.PlainText
        }
        Text {
            visible: row.columns.showsType
            Layout.preferredWidth: row.columns.typeWidth
            text: row.typeText
            color: Theme.textSecondary
            font.pixelSize: Theme.sizeBody
            elide: Text.ElideRight
            textFormat: Text.PlainText
        }
    }

    // Of which folder the share is, where the pointer is on it; elsewhere what of the row is not in sight.
    Loader {
        // By the one area that is under the pointer: a handler on the figure would take the pointer from it.
        readonly property real shareEnd: cells.x + shareFigure.x + shareFigure.width
        readonly property real shareBegin: shareEnd - row.columns.shareWidth
                                           - (row.columns.showsShareBar ? row.columns.gap + row.columns.shareBarWidth : 0)
        readonly property bool isOnShare: pointer.containsMouse && pointer.mouseX >= shareBegin && pointer.mouseX <= shareEnd

        active: isOnShare || (pointer.containsMouse && (row.columns.hidesColumns || nameText.truncated))
        // qmllint disable unqualified
        sourceComponent: AppToolTip {
            objectName: "rowToolTip"
            parent: isOnShare ? shareFigure : nameText
            text: isOnShare ? row.shareOf : nameText.truncated ? row.name + "\n" + row.details : row.details
            visible: true
        }
        // qmllint enable unqualified
    }

    FocusRing {
        gap: -3
        shown: row.hasRing
    }
}
