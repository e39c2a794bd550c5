pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The folders of a path, each a button, the outermost first. A long way shows its end, where the reader is.
//
// All crumbs are there at once and in their order, which is the order in which a screen reader tells them.
Flickable {
    id: row

    required property CrumbListModel model
    property string label: qsTr("The way to this folder")

    signal chosen(index: int)

    implicitHeight: Theme.minimumTarget
    contentWidth: crumbs.width
    contentHeight: height
    flickableDirection: Flickable.HorizontalFlick
    boundsBehavior: Flickable.StopAtBounds
    clip: true
    onContentWidthChanged: showEnd()
    onWidthChanged: showEnd()
    Accessible.role: Accessible.List
    Accessible.name: label

    function showEnd() {
        contentX = Math.max(0, contentWidth - width);
    }

    function show(item: Item) {
        contentX = Math.max(0, Math.min(item.x, Math.max(contentX, item.x + item.width - width)));
    }

    Row {
        id: crumbs
        height: parent.height

        Repeater {
            model: row.model

            Row {
                id: crumb

                required property string name
                required property bool isCurrent
                required property int index

                anchors.verticalCenter: parent ? parent.verticalCenter : undefined

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
                    height: Math.max(Theme.minimumTarget, word.implicitHeight)
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
                    onActiveFocusChanged: {
                        if (activeFocus) {
                            row.show(crumb);
                        }
                    }
                    onClicked: row.chosen(crumb.index)

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
    }
}
