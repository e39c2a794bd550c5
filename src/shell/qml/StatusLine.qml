import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The sums of the scan, what is missing from them, and what stands in the saved index.
Rectangle {
    id: line

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver

    implicitHeight: Math.round(36 * Theme.typeScale)
    color: Theme.surface

    Hairline {
        width: parent.width
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.space5
        anchors.rightMargin: Theme.space4
        spacing: Theme.space3

        Row {
            spacing: Theme.space1
            Accessible.role: Accessible.StaticText
            Accessible.name: line.presenter.statusLine

            AppLabel {
                text: line.presenter.totalText
                font.weight: Font.DemiBold
                Accessible.ignored: true
            }
            AppLabel {
                text: line.presenter.countsText
                secondary: true
                Accessible.ignored: true
            }
        }
        AppButton {
            visible: line.presenter.unreadableText.length > 0
            kind: AppButton.Quiet
            implicitHeight: Theme.minimumTarget
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
            implicitHeight: Theme.minimumTarget
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
            }
        }
        AppLabel {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignRight
            text: line.presenter.savedScanNotice
            secondary: true
            elide: Text.ElideRight

            HoverHandler {
                id: overNotice
            }
            Loader {
                active: overNotice.hovered
                // qmllint disable unqualified
                sourceComponent: AppToolTip {
                    text: line.presenter.savedScanNotice
                    visible: true
                }
                // qmllint enable unqualified
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
