import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The result of a scan: the way in above, the map and the list side by side, the sums below.
T.Control {
    id: page

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver
    required property DiskCommands can

    // The user wants to see what is marked before anything is removed.
    signal reviewRequested
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

        InlineMessage {
            visible: page.presenter.errorText.length > 0
            Layout.fillWidth: true
            Layout.margins: Theme.space2
            text: page.presenter.errorText
            detail: page.presenter.errorHint
            onDismissed: page.driver.dismissError()
        }
        InlineMessage {
            readonly property DroppedMarks dropped: page.driver.droppedMarks

            visible: dropped.text.length > 0
            Layout.fillWidth: true
            Layout.margins: Theme.space2
            iconName: "info"
            text: dropped.text
            detail: dropped.detail
            actionText: dropped.canMarkAgain ? qsTr("Mark Again") : ""
            onTriggered: {
                // The button that has the keyboard is about to vanish.
                list.forceActiveFocus(Qt.OtherFocusReason);
                dropped.markAgain();
            }
            onDismissed: dropped.dismiss()
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
                objectName: "splitHandle"
                implicitWidth: 7
                activeFocusOnTab: true
                // qmllint disable unqualified
                Keys.onLeftPressed: listPane.widen(16)
                Keys.onRightPressed: listPane.widen(-16)
                Accessible.role: Accessible.Slider
                Accessible.name: qsTr("Between map and list")
                Accessible.focusable: true
                Accessible.onIncreaseAction: listPane.widen(16)
                Accessible.onDecreaseAction: listPane.widen(-16)
                // qmllint enable unqualified

                Hairline {
                    anchors.horizontalCenter: parent.horizontalCenter
                    height: parent.height
                    color: grip.T.SplitHandle.pressed || grip.T.SplitHandle.hovered ? Theme.accent : Theme.hairline
                }
                FocusRing {
                    gap: -2
                    shown: grip.activeFocus
                }
            }

            Item {
                id: mapPane
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
                id: listPane

                // All columns where half of the page is enough for them. The user's own width lasts until the window has
                // another one.
                readonly property int usualWidth: Math.min(Math.round(page.width * 0.5),
                                                           Math.max(Math.round(page.width * 0.46),
                                                                    list.columnsOfRows.widthForType))

                function widen(step: int) {
                    const most = split.width - mapPane.T.SplitView.minimumWidth - 7;
                    // The width itself follows only with the next frame.
                    const wanted = T.SplitView.preferredWidth + step;
                    T.SplitView.preferredWidth = Math.max(T.SplitView.minimumWidth, Math.min(most, wanted));
                }

                onUsualWidthChanged: T.SplitView.preferredWidth = usualWidth
                Component.onCompleted: T.SplitView.preferredWidth = usualWidth
                T.SplitView.minimumWidth: 360

                FileListView {
                    id: list
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
            can: page.can
        }
    }
}
