pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What the program reads, keeps and sends, and what it does not: one scrolling page in sections.
SmallWindow {
    id: window

    title: qsTr("Privacy Policy")
    usualWidth: 640
    usualHeight: 720
    firstItem: page
    onClosed: app.showPrivacyPolicy = false

    ScrollingPage {
        id: page
        anchors.fill: parent
        title: window.title
        focus: true
        showsFocus: false
        margin: Theme.space8
        spacing: Theme.space6

        AppLabel {
            Layout.fillWidth: true
            text: window.title
            font.pixelSize: Theme.sizeDisplay
            font.weight: Font.Bold
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
        }

        Repeater {
            model: window.app.privacySections

            ColumnLayout {
                id: section

                required property var modelData

                Layout.fillWidth: true
                spacing: Theme.space2

                AppLabel {
                    Layout.fillWidth: true
                    text: section.modelData.heading
                    font.pixelSize: Theme.sizeEmphasis
                    font.weight: Font.DemiBold
                    wrapMode: Text.Wrap
                    Accessible.role: Accessible.Heading
                }
                AppLabel {
                    Layout.fillWidth: true
                    text: section.modelData.body
                    wrapMode: Text.Wrap
                    lineHeight: 1.35
                }
                AppLabel {
                    visible: text.length > 0
                    Layout.fillWidth: true
                    text: section.modelData.note
                    secondary: true
                    font.pixelSize: Theme.sizeCaption
                    wrapMode: Text.Wrap
                    lineHeight: 1.25
                }
            }
        }

        Hairline {
            Layout.fillWidth: true
        }
        AppLabel {
            Layout.fillWidth: true
            text: window.app.privacyClosingLine
            secondary: true
            wrapMode: Text.Wrap
            lineHeight: 1.25
        }
    }
}
