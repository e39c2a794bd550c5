import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The sums of the scan, what is missing from them, and what stands in the saved index.
Rectangle {
    id: line

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver

    required property DiskCommands can

    // How wide the sums and their buttons are in one row, and whether the notice has room beside them.
    readonly property real sumsWidth: sums.implicitWidth + (unreadable.visible ? unreadable.implicitWidth + facts.spacing : 0)
                                      + (hidden.visible ? hidden.implicitWidth + facts.spacing : 0)
    readonly property bool hasRoomBeside: width - sumsWidth - grid.anchors.leftMargin - grid.anchors.rightMargin
                                          >= grid.columnSpacing + Math.max(260 * Theme.typeScale, actions.implicitWidth)

    implicitHeight: Math.max(Math.round(36 * Theme.typeScale), grid.implicitHeight + Theme.space3)
    color: Theme.surface

    Hairline {
        width: parent.width
    }

    GridLayout {
        id: grid
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: Theme.space5
        anchors.rightMargin: Theme.space4
        columns: line.hasRoomBeside ? 2 : 1
        columnSpacing: Theme.space4
        rowSpacing: Theme.space1

        Flow {
            id: facts
            Layout.fillWidth: !line.hasRoomBeside
            Layout.preferredWidth: line.sumsWidth
            spacing: Theme.space3

            Row {
                id: sums
                height: Theme.minimumTarget
                spacing: Theme.space1
                Accessible.role: Accessible.StaticText
                Accessible.name: line.presenter.statusLine

                AppLabel {
                    anchors.verticalCenter: parent.verticalCenter
                    text: line.presenter.totalText
                    font.weight: Font.DemiBold
                    Accessible.ignored: true
                }
                AppLabel {
                    anchors.verticalCenter: parent.verticalCenter
                    text: line.presenter.countsText
                    secondary: true
                    Accessible.ignored: true
                }
            }
            AppButton {
                id: unreadable
                visible: line.presenter.unreadableText.length > 0
                kind: AppButton.Quiet
                height: Math.max(Theme.minimumTarget, implicitContentHeight)
                text: line.presenter.unreadableText
                icon.name: "warning"
                foreground: Theme.review
                toolTip: qsTr("Shows the places and the reasons")
                onClicked: errors.active = true
            }
            AppButton {
                id: hidden
                visible: line.presenter.hiddenItemsText.length > 0
                kind: AppButton.Quiet
                height: Math.max(Theme.minimumTarget, implicitContentHeight)
                text: line.presenter.hiddenItemsText
                icon.name: "hidden"
                foreground: Theme.textSecondary
                toolTip: qsTr("Shows the switch for hidden files")
                onClicked: hiddenPanel.open()

                HiddenFilesPanel {
                    id: hiddenPanel
                    y: -height - Theme.space2
                    presenter: line.presenter
                    driver: line.driver
                    can: line.can
                }
            }
        }
        ColumnLayout {
            id: saved
            visible: line.presenter.savedScanNotice.length > 0
            Layout.fillWidth: true
            Layout.bottomMargin: line.hasRoomBeside ? 0 : Theme.space1
            spacing: 0

            AppLabel {
                objectName: "savedScanNotice"
                Layout.fillWidth: true
                horizontalAlignment: line.hasRoomBeside ? Text.AlignRight : Text.AlignLeft
                text: line.presenter.savedScanNotice
                secondary: true
                font.pixelSize: Theme.sizeCaption
                wrapMode: Text.Wrap
            }
            AppLabel {
                objectName: "watchNotice"
                visible: text.length > 0
                Layout.fillWidth: true
                horizontalAlignment: line.hasRoomBeside ? Text.AlignRight : Text.AlignLeft
                text: line.presenter.watchNotice
                color: Theme.review
                font.pixelSize: Theme.sizeCaption
                wrapMode: Text.Wrap
            }
            Row {
                id: actions
                visible: line.driver.hasSavedIndex
                Layout.alignment: line.hasRoomBeside ? Qt.AlignRight : Qt.AlignLeft
                // The titles of buttons without a frame stand in line with the text above them.
                Layout.leftMargin: line.hasRoomBeside ? 0 : -Theme.space2
                Layout.rightMargin: line.hasRoomBeside ? -Theme.space2 : 0

                Repeater {
                    model: [line.can.refreshChanged, line.can.refreshCurrent, line.can.forget]

                    AppButton {
                        required property Command modelData

                        command: modelData
                        icon.name: ""
                        // qmllint disable unqualified
                        visible: modelData !== line.can.refreshChanged || line.driver.changedFolderCount > 0
                        // qmllint enable unqualified
                        kind: AppButton.Quiet
                        height: Math.max(Theme.minimumTarget, implicitContentHeight)
                        font.pixelSize: Theme.sizeCaption
                        // qmllint disable unqualified
                        toolTip: modelData === line.can.refreshCurrent ? qsTr("Scans only the folder on screen again") : ""
                        // qmllint enable unqualified
                    }
                }
            }
        }
    }

    Loader {
        id: errors
        active: false
        // qmllint disable unqualified
        sourceComponent: ScanErrorsSheet {
            presenter: line.presenter
            visible: true
            onClosed: errors.active = false
        }
        // qmllint enable unqualified
    }
}
