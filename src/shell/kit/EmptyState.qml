import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What stands in the place of rows where there are none: a picture, one sentence, what it means, and one thing to do.
Item {
    id: state

    property string iconName: ""
    property string title: ""
    property string text: ""
    property string actionText: ""

    signal triggered

    implicitHeight: column.implicitHeight + 2 * Theme.space6

    ColumnLayout {
        id: column
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.space6, 360 * Theme.typeScale)
        spacing: Theme.space2

        AppIcon {
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: Theme.space2
            size: Math.round(40 * Theme.typeScale)
            name: state.iconName
            color: Theme.textSecondary
        }
        AppLabel {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: state.title
            font.pixelSize: Theme.sizeEmphasis
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
        }
        AppLabel {
            visible: text.length > 0
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: state.text
            secondary: true
            wrapMode: Text.Wrap
            lineHeight: 1.25
        }
        AppButton {
            visible: text.length > 0
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: Theme.space2
            text: state.actionText
            onClicked: state.triggered()
        }
    }
}
