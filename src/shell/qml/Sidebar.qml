pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The tabs, and below them what has to be in sight whichever tab is open: marks, and missing access. `narrow` leaves
// the icons alone.
Rectangle {
    id: sidebar

    required property MainView view
    property bool narrow: false

    implicitWidth: narrow ? Theme.sidebarWidthNarrow : Theme.sidebarWidth
    color: Theme.sidebar

    Hairline {
        anchors.right: parent.right
        height: parent.height
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.space2
        spacing: Theme.space1

        Repeater {
            model: sidebar.view.tabs

            T.Button {
                id: tab

                required property var modelData

                Layout.fillWidth: true
                implicitHeight: Math.round(36 * Theme.typeScale)
                checked: sidebar.view.selectedTab === modelData.value
                text: modelData.title
                font.pixelSize: Theme.sizeBody
                font.weight: checked ? Font.DemiBold : Font.Normal
                hoverEnabled: true
                Accessible.role: Accessible.PageTab
                Accessible.name: text
                Accessible.selected: checked
                Accessible.onPressAction: tab.click()
                Keys.onReturnPressed: tab.click()
                Keys.onEnterPressed: tab.click()
                onClicked: sidebar.view.selectedTab = modelData.value

                contentItem: Item {
                    AppIcon {
                        id: glyph
                        x: sidebar.narrow ? Math.round((parent.width - width) / 2) : Theme.space3
                        anchors.verticalCenter: parent.verticalCenter
                        name: tab.modelData.icon
                        size: Math.round(18 * Theme.typeScale)
                        color: tab.checked ? Theme.textOnAccent : Theme.text
                    }
                    Text {
                        anchors.left: glyph.right
                        anchors.leftMargin: Theme.space2 + 2
                        anchors.right: parent.right
                        anchors.verticalCenter: parent.verticalCenter
                        visible: !sidebar.narrow
                        text: tab.text
                        font: tab.font
                        color: tab.checked ? Theme.textOnAccent : Theme.text
                        elide: Text.ElideRight
                        textFormat: Text.PlainText
                    }
                }
                background: Rectangle {
                    radius: Theme.radiusControl
                    color: tab.checked ? Theme.accentFill : tab.hovered ? Theme.pressed : "transparent"

                    FocusRing {
                        shown: tab.visualFocus
                        gap: 0
                    }
                }

                Loader {
                    active: sidebar.narrow && (tab.hovered || tab.visualFocus)
                    sourceComponent: AppToolTip {
                        parent: tab
                        x: tab.width + Theme.space2
                        y: Math.round((tab.height - implicitHeight) / 2)
                        text: tab.text
                        visible: true
                    }
                }
            }
        }

        Item {
            Layout.fillHeight: true
        }

        SidebarNote {
            visible: sidebar.view.permissionManager.isLimited
            Layout.fillWidth: true
            narrow: sidebar.narrow
            iconName: "shield"
            iconColor: Theme.review
            title: qsTr("Limited Access")
            text: qsTr("Protected folders may be skipped unless you grant additional access")
            actionText: qsTr("Grant Access")
            onTriggered: sidebar.view.permissionManager.openFullDiskAccessSettings()
        }

        SidebarNote {
            visible: sidebar.view.diskSpace.markedItems > 0
            Layout.fillWidth: true
            narrow: sidebar.narrow
            iconName: "mark"
            iconColor: Theme.removal
            title: sidebar.view.diskSpace.markedText
            text: qsTr("Marking changes nothing on your disk.")
            actionText: qsTr("Clear Marks")
            onTriggered: sidebar.view.scannerViewModel.clearSelection()
        }
    }
}
