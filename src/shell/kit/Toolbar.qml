import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The top of a tab: what it shows and where that lies, and at the right what can be done.
Rectangle {
    id: toolbar

    property string title: ""
    property string path: ""
    default property alias actions: actionRow.data

    implicitHeight: Theme.toolbarHeight
    color: Theme.surface

    Hairline {
        anchors.bottom: parent.bottom
        width: parent.width
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.space5
        anchors.rightMargin: Theme.space4
        spacing: Theme.space4

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            AppLabel {
                Layout.fillWidth: true
                text: toolbar.title
                font.pixelSize: Theme.sizeEmphasis
                font.weight: Font.DemiBold
                elide: Text.ElideRight
                Accessible.role: Accessible.Heading
            }
            TextEdit {
                visible: toolbar.path.length > 0 && toolbar.path !== toolbar.title
                Layout.fillWidth: true
                Layout.maximumHeight: implicitHeight
                clip: true
                text: toolbar.path
                readOnly: true
                selectByMouse: true
                activeFocusOnPress: true
                color: Theme.textSecondary
                selectionColor: Theme.accentFill
                selectedTextColor: Theme.textOnAccent
                font.pixelSize: Theme.sizeBody - 1
                textFormat: TextEdit.PlainText
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
        RowLayout {
            id: actionRow
            spacing: Theme.space2
        }
    }
}
