pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// A check for updates: that it is under way, and what came of it.
SmallWindow {
    id: window

    readonly property UpdateManager manager: app.updateManager
    // What is known is shown again, whatever the latest check came to.
    readonly property bool offersUpdate: manager.availableVersion.length > 0
                                         && (manager.state === UpdateManager.Available
                                             || manager.state === UpdateManager.Idle)

    title: qsTr("Larkfold Updates")
    usualWidth: 520
    usualHeight: offersUpdate ? 480 : 240
    firstItem: done
    onClosed: manager.showsCheck = false

    // A result gives the keyboard to what most people do next, once its buttons are there.
    Connections {
        target: window.manager

        function onStateChanged() {
            settle.start();
        }
    }
    Timer {
        id: settle
        interval: 0
        onTriggered: window.focusUsual()
    }

    function focusUsual() {
        for (const button of [open, retry, done]) {
            if (button.visible) {
                button.forceActiveFocus(Qt.TabFocusReason);
                return;
            }
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.space5
        spacing: Theme.space4

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space4

            AppIcon {
                Layout.alignment: Qt.AlignTop
                size: Math.round(32 * Theme.typeScale)
                name: window.manager.state === UpdateManager.Failed ? "warning"
                    : window.manager.state === UpdateManager.UpToDate ? "check-circle" : "refresh"
                color: window.manager.state === UpdateManager.Failed ? Theme.review
                     : window.manager.state === UpdateManager.UpToDate ? Theme.safe : Theme.accent
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: Theme.space2

                AppLabel {
                    Layout.fillWidth: true
                    text: window.manager.title
                    font.pixelSize: Theme.sizeEmphasis
                    font.weight: Font.DemiBold
                    wrapMode: Text.Wrap
                    Accessible.role: Accessible.Heading
                }
                AppLabel {
                    Layout.fillWidth: true
                    text: window.manager.text
                    secondary: true
                    wrapMode: Text.Wrap
                    lineHeight: 1.25
                }
            }
        }

        AppProgressBar {
            visible: window.manager.state === UpdateManager.Checking
            Layout.fillWidth: true
            indeterminate: true
            Accessible.name: window.manager.title
        }

        Rectangle {
            visible: window.offersUpdate
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: 2 * Theme.rowHeight
            color: Theme.surface
            border.width: 1
            border.color: Theme.hairline
            radius: Theme.radiusControl

            ScrollingPage {
                anchors.fill: parent
                anchors.margins: 1
                title: qsTr("What is new")
                margin: Theme.space4
                spacing: Theme.space4

                Repeater {
                    model: window.manager.releases

                    ColumnLayout {
                        id: release

                        required property var modelData

                        Layout.fillWidth: true
                        spacing: Theme.space1

                        AppLabel {
                            Layout.fillWidth: true
                            text: qsTr("Version %1").arg(release.modelData.name)
                            font.weight: Font.DemiBold
                            wrapMode: Text.Wrap
                            Accessible.role: Accessible.Heading
                        }
                        AppLabel {
                            Layout.fillWidth: true
                            text: release.modelData.notes.length > 0 ? release.modelData.notes
                                                                     : qsTr("Nothing is told about this version.")
                            secondary: release.modelData.notes.length === 0
                            wrapMode: Text.Wrap
                            lineHeight: 1.25
                        }
                    }
                }
            }
        }

        AppLabel {
            visible: window.offersUpdate && text.length > 0
            Layout.fillWidth: true
            text: window.manager.installationHint
            wrapMode: Text.Wrap
            lineHeight: 1.25
        }
        CommandBox {
            visible: window.offersUpdate && command.length > 0
            Layout.fillWidth: true
            command: window.manager.installationCommand
            onCopied: window.manager.copyInstallationCommand()
        }
        TextEdit {
            id: pageAddress
            visible: window.offersUpdate && text.length > 0
            Layout.fillWidth: true
            text: window.manager.page
            readOnly: true
            selectByMouse: true
            activeFocusOnTab: true
            wrapMode: TextEdit.WrapAnywhere
            textFormat: TextEdit.PlainText
            color: Theme.textSecondary
            selectionColor: Theme.accentFill
            selectedTextColor: Theme.textOnAccent
            font.pixelSize: Theme.sizeCaption
            Accessible.role: Accessible.EditableText
            Accessible.name: qsTr("Address of the download page")
            Accessible.readOnly: true

            FocusRing {
                shown: pageAddress.activeFocus
            }
        }
        InlineMessage {
            visible: window.offersUpdate && text.length > 0
            Layout.fillWidth: true
            text: window.manager.pageProblem
            dismissible: false
        }

        Item {
            visible: !window.offersUpdate
            Layout.fillHeight: true
        }

        Flow {
            Layout.fillWidth: true
            layoutDirection: Qt.RightToLeft
            spacing: Theme.space2

            AppButton {
                id: open
                visible: window.offersUpdate && window.manager.page.length > 0
                kind: AppButton.Primary
                text: qsTr("Open Download Page")
                onClicked: window.manager.openPage()
            }
            AppButton {
                id: retry
                visible: window.manager.state === UpdateManager.Failed
                kind: AppButton.Primary
                text: qsTr("Try Again")
                onClicked: window.manager.checkForUpdates()
            }
            AppButton {
                id: done
                text: window.manager.state === UpdateManager.Checking ? qsTr("Cancel") : qsTr("Done")
                onClicked: window.close()
            }
            AppButton {
                visible: window.offersUpdate && window.manager.notesPage.length > 0
                kind: AppButton.Quiet
                text: qsTr("Release Notes")
                onClicked: window.manager.openNotesPage()
            }
        }
    }
}
