import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What stands in the place of rows where there are none: a picture, one sentence, what it means, and one thing to do.
Item {
    id: state

    property string iconName: ""
    property color iconColor: Theme.textSecondary
    property string title: ""
    property string text: ""
    property string actionText: ""
    property real widest: 360 * Theme.typeScale
    // Leaves out the picture, and then the text, where it is given little height.
    property bool shrinks: false
    // Between the text and the action.
    default property alias content: more.data

    signal triggered

    implicitHeight: column.implicitHeight + 2 * Theme.space6

    ColumnLayout {
        id: column
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.space6, state.widest)
        spacing: Theme.space2

        AppIcon {
            visible: !state.shrinks || state.height > 190 * Theme.typeScale
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: Theme.space2
            size: Math.round(40 * Theme.typeScale)
            name: state.iconName
            color: state.iconColor
        }
        AppLabel {
            objectName: "emptyTitle"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: state.title
            font.pixelSize: Theme.sizeEmphasis
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
        }
        AppLabel {
            visible: text.length > 0 && (!state.shrinks || state.height > 120 * Theme.typeScale)
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: state.text
            secondary: true
            wrapMode: Text.Wrap
            lineHeight: 1.25
        }
        ColumnLayout {
            id: more
            visible: children.length > 0
            Layout.fillWidth: true
            spacing: Theme.space2
        }
        AppButton {
            objectName: "emptyAction"
            visible: text.length > 0
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: Theme.space2
            text: state.actionText
            onClicked: state.triggered()
        }
    }
}
