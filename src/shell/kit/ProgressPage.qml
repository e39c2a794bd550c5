import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What stands in the place of a page or a list while it is on its way: a picture, a sentence, how far it is, where it is,
// and the way out. What a page tells beyond that is brought as content. Without a title it is the small form of a list.
Item {
    id: page

    property Component picture: null
    property string title: ""
    property string text: ""
    // From 0 to 1; below 0 it is not known how far it is.
    property real value: -1
    property bool hasBar: true
    // Where it is at the moment, such as a path, and what a screen reader calls it.
    property string place: ""
    property string placeName: ""
    property string cancelText: ""
    property real widest: (title.length > 0 ? 420 : 200) * Theme.typeScale
    default property alias content: facts.data

    signal cancelled

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.space6, Math.max(page.widest, 200 * Theme.typeScale))
        spacing: Theme.space3

        Loader {
            visible: page.picture !== null
            Layout.alignment: Qt.AlignHCenter
            sourceComponent: page.picture
        }
        AppLabel {
            visible: text.length > 0
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: page.title
            font.pixelSize: Theme.sizeTitle
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
        }
        AppLabel {
            visible: text.length > 0
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: page.text
            secondary: true
            wrapMode: Text.Wrap
        }
        ColumnLayout {
            id: facts
            visible: children.length > 0
            Layout.alignment: Qt.AlignHCenter
            Layout.maximumWidth: parent.width
        }
        AppProgressBar {
            visible: page.hasBar
            Layout.fillWidth: true
            value: Math.max(0, page.value)
            indeterminate: page.value < 0
            Accessible.name: page.title.length > 0 ? page.title : page.text
        }
        AppLabel {
            visible: page.placeName.length > 0
            Layout.fillWidth: true
            Layout.topMargin: Theme.space2
            Layout.preferredHeight: Math.round(18 * Theme.typeScale)
            horizontalAlignment: Text.AlignHCenter
            text: page.place
            secondary: true
            font.pixelSize: Theme.sizeBody - 1
            elide: Text.ElideMiddle
            Accessible.name: page.placeName
        }
        AppButton {
            visible: text.length > 0
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: Theme.space2
            text: page.cancelText
            icon.name: "stop"
            onClicked: page.cancelled()
        }
    }
}
