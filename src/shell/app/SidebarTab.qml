import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// One tab in the sidebar.
T.Button {
    id: tab

    required property var modelData
    required property MainView view
    property bool narrow: false

    implicitHeight: Math.round(36 * Theme.typeScale)
    checked: tab.view.selectedTab === modelData.value
    text: modelData.title
    font.pixelSize: Theme.sizeBody
    font.weight: checked ? Font.DemiBold : Font.Normal
    hoverEnabled: true
    Accessible.role: Accessible.PageTab
    Accessible.name: text
    Accessible.selected: checked
    Accessible.onPressAction: tab.clicked()
    Keys.onReturnPressed: tab.clicked()
    Keys.onEnterPressed: tab.clicked()
    onClicked: tab.view.selectedTab = modelData.value

    contentItem: Item { // qmllint disable deferred-property-id
        AppIcon {
            id: glyph
            x: tab.narrow ? Math.round((parent.width - width) / 2) : Theme.space3
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
            visible: !tab.narrow
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
        active: tab.narrow && (tab.hovered || tab.visualFocus)
        // qmllint disable unqualified
        sourceComponent: AppToolTip {
            parent: tab
            x: tab.width + Theme.space2
            y: Math.round((tab.height - implicitHeight) / 2)
            text: tab.text
            visible: true
        }
        // qmllint enable unqualified
    }
}
