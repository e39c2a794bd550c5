import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The title of one column, with an arrow where the list is sorted by it.
T.AbstractButton {
    id: cell

    required property FileListModel model
    required property int column
    property bool isNumber: false
    property int inset: 0

    readonly property bool isSorted: model.sortColumn === column
    readonly property bool isDescending: isSorted && model.isSortedDescending

    objectName: "header" + text
    implicitHeight: Theme.minimumTarget
    hoverEnabled: true
    focusPolicy: Qt.TabFocus
    font.pixelSize: Theme.sizeCaption
    font.weight: Font.DemiBold
    onClicked: sort()

    function sort() {
        model.sortBy(column);
    }

    Accessible.role: Accessible.ColumnHeader
    Accessible.name: text
    Accessible.description: !isSorted ? qsTr("Not sorted by this column")
                                      : isDescending ? qsTr("Sorted, largest or last first")
                                                     : qsTr("Sorted, smallest or first first")
    Accessible.focusable: true
    Accessible.onPressAction: cell.sort()

    Keys.onReturnPressed: cell.sort()
    Keys.onEnterPressed: cell.sort()

    contentItem: Item {
        Row {
            x: cell.isNumber ? parent.width - width : cell.inset
            anchors.verticalCenter: parent.verticalCenter
            spacing: Theme.space1
            layoutDirection: cell.isNumber ? Qt.RightToLeft : Qt.LeftToRight

            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: cell.text
                font: cell.font
                color: cell.isSorted || cell.hovered ? Theme.text : Theme.textSecondary
                textFormat: Text.PlainText
            }
            AppIcon {
                anchors.verticalCenter: parent.verticalCenter
                opacity: cell.isSorted ? 1 : 0
                size: Math.round(12 * Theme.typeScale)
                name: cell.isDescending ? "chevron-down" : "chevron-up"
            }
        }
    }

    background: Item {
        FocusRing {
            gap: -3
            shown: cell.visualFocus
        }
    }
}
