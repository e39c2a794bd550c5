import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The titles of the columns. Pressing one sorts by it, pressing it again turns the order round.
Item {
    id: header

    required property FileListModel model
    required property FileListColumns columns

    implicitHeight: Theme.minimumTarget

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: header.columns.margin
        anchors.rightMargin: header.columns.endMargin
        spacing: header.columns.gap

        FileListHeaderCell {
            Layout.fillWidth: true
            Layout.fillHeight: true
            model: header.model
            column: FileListModel.Name
            text: qsTr("Name")
            inset: Theme.iconSmall + header.columns.gap
        }
        FileListHeaderCell {
            // Above the share and the size.
            Layout.preferredWidth: header.columns.sizeWidth + header.columns.shareWidth + header.columns.gap
            Layout.fillHeight: true
            model: header.model
            column: FileListModel.Size
            text: qsTr("Size")
            isNumber: true
        }
        FileListHeaderCell {
            visible: header.columns.showsItems
            Layout.preferredWidth: header.columns.itemsWidth
            Layout.fillHeight: true
            model: header.model
            column: FileListModel.Items
            text: qsTr("Items")
            isNumber: true
        }
        FileListHeaderCell {
            visible: header.columns.showsType
            Layout.preferredWidth: header.columns.typeWidth
            Layout.fillHeight: true
            model: header.model
            column: FileListModel.Type
            text: qsTr("Type")
        }
    }
    AppIconButton {
        id: more
        objectName: "hiddenColumns"
        visible: header.columns.hidesColumns
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        size: Theme.minimumTarget
        icon.name: "chevron-right"
        icon.width: Math.round(14 * Theme.typeScale)
        text: qsTr("Columns that do not fit")
        onClicked: menu.popup(more, more.width - menu.width, more.height)
        onVisibleChanged: {
            if (!visible) {
                menu.close();
            }
        }
    }

    AppMenu {
        id: menu
        onClosed: more.forceActiveFocus(Qt.PopupFocusReason)

        HiddenColumn {
            objectName: "sortByItems"
            column: FileListModel.Items
            isHidden: !header.columns.showsItems
            text: qsTr("Sort by Items")
        }
        HiddenColumn {
            objectName: "sortByType"
            column: FileListModel.Type
            isHidden: !header.columns.showsType
            text: qsTr("Sort by Type")
        }
    }

    // qmllint disable unqualified
    component HiddenColumn: AppMenuItem {
        required property int column
        required property bool isHidden

        readonly property bool isSorted: header.model.sortColumn === column

        visible: isHidden
        height: isHidden ? implicitHeight : 0
        icon.name: !isSorted ? "" : header.model.isSortedDescending ? "chevron-down" : "chevron-up"
        Accessible.description: isSorted ? qsTr("The list is sorted by it") : ""
        onTriggered: header.model.sortBy(column)
    }
    // qmllint enable unqualified
}
