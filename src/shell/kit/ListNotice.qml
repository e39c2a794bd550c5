import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// A sentence at the foot of a list: why something was not done, what came of it, or what a row stands for.
Rectangle {
    id: notice

    required property string text
    property bool dismissible: true
    // Says more of what is looked at, and is no answer to anything: not announced.
    property bool isQuiet: false
    // Whether a screen reader is told as it appears; not where an `Announcement` says it.
    property bool announces: true

    signal dismissed()

    visible: text.length > 0
    implicitHeight: visible ? Math.max(Theme.controlHeight, words.implicitHeight + 2 * Theme.space2) : 0
    color: Theme.rowAlternate

    Hairline {
        width: parent.width
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.space3
        anchors.rightMargin: Theme.space2
        spacing: Theme.space2

        AppIcon {
            name: "info"
            color: Theme.link
        }
        AppLabel {
            id: words
            objectName: notice.isQuiet ? "listDetails" : "listNotice"
            Layout.fillWidth: true
            text: notice.text
            wrapMode: Text.Wrap
            font.pixelSize: Theme.sizeCaption
            Accessible.role: notice.isQuiet ? Accessible.StaticText
                                            : notice.announces ? Accessible.AlertMessage : Accessible.Note
        }
        AppIconButton {
            visible: notice.dismissible
            text: qsTr("Close")
            icon.name: "close"
            icon.width: 12 * Theme.typeScale
            onClicked: notice.dismissed()
        }
    }
}
