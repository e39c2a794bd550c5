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
}
