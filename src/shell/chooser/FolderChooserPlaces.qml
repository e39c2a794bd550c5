pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The places to start from: the user's own folders, the file system, mounted volumes.
Rectangle {
    id: places

    required property FolderChooserModel model

    // A place was chosen: the list shows it.
    signal finished()

    color: Theme.sidebar
    radius: Theme.radiusControl
    border.width: 1
    border.color: Theme.hairline

    ListView {
        id: list
        objectName: "chooserPlaces"
        anchors.fill: parent
        anchors.margins: Theme.space1
        clip: true
        activeFocusOnTab: true
        boundsBehavior: Flickable.StopAtBounds
        highlightFollowsCurrentItem: false
        keyNavigationEnabled: true
        currentIndex: places.model.currentPlace
        model: places.model.places
        T.ScrollBar.vertical: AppScrollBar {}
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Places")

        onActiveFocusChanged: {
            if (activeFocus && currentIndex < 0) {
                currentIndex = 0;
            }
        }
        onCurrentIndexChanged: positionViewAtIndex(currentIndex, ListView.Contain)
        Keys.onReturnPressed: go(currentIndex)
        Keys.onEnterPressed: go(currentIndex)
        Keys.onSpacePressed: go(currentIndex)

        // What the arrow keys have moved stands where the user is again.
        function follow() {
            currentIndex = Qt.binding(() => places.model.currentPlace);
        }

        function go(place: int) {
            places.model.goToPlace(place);
            follow();
            places.finished();
        }

        delegate: Rectangle {
            id: place

            required property var modelData
            required property int index
            readonly property bool isHere: index === places.model.currentPlace

            width: ListView.view.width
            implicitHeight: Theme.rowHeight
            radius: Theme.radiusControl
            color: isHere ? Theme.accentFill : pointer.containsMouse ? Theme.pressed : "transparent"
            Accessible.role: Accessible.ListItem
            Accessible.name: modelData.title
            Accessible.description: modelData.detail
            Accessible.focusable: true
            Accessible.focused: list.activeFocus && ListView.isCurrentItem
            Accessible.selectable: true
            Accessible.selected: isHere
            Accessible.onPressAction: list.go(index)

            MouseArea {
                id: pointer
                anchors.fill: parent
                hoverEnabled: true
                onClicked: list.go(place.index)
            }
            AppIcon {
                id: glyph
                x: Theme.space2
                anchors.verticalCenter: parent.verticalCenter
                name: place.modelData.icon
                color: place.isHere ? Theme.textOnAccent : Theme.text
            }
            Text {
                anchors.left: glyph.right
                anchors.leftMargin: Theme.space2
                anchors.right: parent.right
                anchors.rightMargin: Theme.space2
                anchors.verticalCenter: parent.verticalCenter
                text: place.modelData.title
                color: place.isHere ? Theme.textOnAccent : Theme.text
                font.pixelSize: Theme.sizeBody
                font.weight: place.isHere ? Font.DemiBold : Font.Normal
                elide: Text.ElideRight
                textFormat: Text.PlainText
            }
            FocusRing {
                gap: -3
                shown: list.activeFocus && place.ListView.isCurrentItem
            }
        }
    }
}
