pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The way in, each folder a button, and the way back.
Rectangle {
    id: bar

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver

    implicitHeight: Math.round(40 * Theme.typeScale)
    color: Theme.surface

    Hairline {
        anchors.bottom: parent.bottom
        width: parent.width
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.space3
        anchors.rightMargin: Theme.space5
        spacing: Theme.space2

        AppIconButton {
            icon.name: "chevron-left"
            text: qsTr("Back")
            toolTip: qsTr("Back (Alt+Left)")
            enabled: bar.presenter.canGoBack
            onClicked: bar.driver.navigateBack()
        }

        ListView {
            id: crumbs
            Layout.fillWidth: true
            Layout.preferredHeight: Theme.minimumTarget
            orientation: ListView.Horizontal
            boundsBehavior: Flickable.StopAtBounds
            clip: true
            model: bar.presenter.breadcrumb
            // A long way in shows its end, where the reader is.
            onContentWidthChanged: positionViewAtEnd()
            onWidthChanged: positionViewAtEnd()
            Accessible.role: Accessible.List
            Accessible.name: qsTr("The way to this folder")

            delegate: Row {
                id: crumb

                required property string name
                required property bool isCurrent
                required property int index

                AppIcon {
                    visible: crumb.index > 0
                    anchors.verticalCenter: parent.verticalCenter
                    name: "chevron-right"
                    size: Math.round(12 * Theme.typeScale)
                    color: Theme.textSecondary
                }
                T.Button {
                    id: link
                    width: Math.min(implicitWidth, 220 * Theme.typeScale)
                    height: Theme.minimumTarget
                    implicitWidth: Math.max(Theme.minimumTarget, word.implicitWidth + 2 * Theme.space2)
                    text: crumb.name
                    hoverEnabled: true
                    font.pixelSize: Theme.sizeBody
                    font.weight: crumb.isCurrent ? Font.DemiBold : Font.Normal
                    Accessible.role: Accessible.Link
                    Accessible.name: text
                    Accessible.onPressAction: link.clicked()
                    Keys.onReturnPressed: link.clicked()
                    Keys.onEnterPressed: link.clicked()
                    onClicked: bar.presenter.navigateToCrumb(crumb.index)

                    contentItem: Text { // qmllint disable deferred-property-id
                        id: word
                        text: link.text
                        font: link.font
                        color: crumb.isCurrent || link.hovered ? Theme.text : Theme.textSecondary
                        horizontalAlignment: Text.AlignHCenter
                        verticalAlignment: Text.AlignVCenter
                        elide: Text.ElideMiddle
                        textFormat: Text.PlainText
                    }
                    background: Rectangle {
                        radius: Theme.radiusControl
                        color: link.down ? Theme.pressed : link.hovered && !crumb.isCurrent ? Theme.hover : "transparent"

                        FocusRing {
                            shown: link.visualFocus
                            gap: -2
                        }
                    }
                }
            }
        }

        AppLabel {
            visible: bar.width > 720 * Theme.typeScale
            text: qsTr("Click to navigate, Ctrl+click to select")
            secondary: true
        }
    }
}
