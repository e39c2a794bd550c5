import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The result of a scan: the way in above, the map and the list side by side, the sums below.
T.Control {
    id: page

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver

    // The user wants to see what is marked before anything is removed.
    signal reviewRequested
    // The user wants the saved index gone.
    signal forgetRequested

    Shortcut {
        sequences: ["F5"]
        enabled: page.visible && page.driver.changedFolderCount > 0 && !page.driver.isScanning
        onActivated: page.driver.refreshIndex(false)
    }
    Shortcut {
        sequences: ["Alt+Left", "Backspace"]
        enabled: page.visible && page.presenter.canGoBack
        onActivated: page.driver.navigateBack()
    }

    background: Rectangle {
        color: Theme.surface
    }

    contentItem: ColumnLayout { // qmllint disable deferred-property-id
        spacing: 0

        BreadcrumbBar {
            Layout.fillWidth: true
            presenter: page.presenter
            driver: page.driver
        }

        RefreshStrip {
            Layout.fillWidth: true
            presenter: page.presenter
            driver: page.driver
        }
        InlineMessage {
            visible: page.presenter.errorText.length > 0
            Layout.fillWidth: true
            Layout.margins: Theme.space2
            text: page.presenter.errorText
            detail: page.presenter.errorHint
            onDismissed: page.driver.dismissError()
        }
        InlineMessage {
            visible: page.presenter.capacityNotice.length > 0
            Layout.fillWidth: true
            Layout.margins: Theme.space2
            iconName: "info"
            dismissible: false
            text: page.presenter.capacityNotice
        }

        T.SplitView {
            id: split
            Layout.fillWidth: true
            Layout.fillHeight: true
            orientation: Qt.Horizontal
            focus: true

            handle: Item {
                id: grip
                implicitWidth: 7
                Accessible.ignored: true

                Hairline {
                    anchors.horizontalCenter: parent.horizontalCenter
                    height: parent.height
                    color: grip.T.SplitHandle.pressed || grip.T.SplitHandle.hovered ? Theme.accent : Theme.hairline
                }
            }

            Item {
                T.SplitView.fillWidth: true
                T.SplitView.minimumWidth: 320

                SunburstView {
                    anchors.fill: parent
                    anchors.margins: Theme.space2
                    driver: page.driver
                    onReviewRequested: page.reviewRequested()
                }
            }
            Item {
                T.SplitView.preferredWidth: Math.round(page.width * 0.46)
                T.SplitView.minimumWidth: 360

                FileListView {
                    anchors.fill: parent
                    driver: page.driver
                    focus: true
                    onReviewRequested: page.reviewRequested()
                }
            }
        }

        StatusLine {
            Layout.fillWidth: true
            presenter: page.presenter
            driver: page.driver
            onForgetRequested: page.forgetRequested()
        }
    }
}
