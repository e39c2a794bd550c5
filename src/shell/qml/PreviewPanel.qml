import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// Our own preview of one item, where the desktop has none: a picture, the beginning of a text, or an icon, and the facts.
T.Popup {
    id: panel

    required property QuickLookDataSource source

    parent: T.Overlay.overlay
    width: Math.min(680 * Theme.typeScale, parent ? parent.width - 2 * Theme.space6 : 680)
    height: Math.min(source.content === QuickLookDataSource.Facts ? implicitContentHeight + 2 * padding
                                                                  : 560 * Theme.typeScale,
                     parent ? parent.height - 2 * Theme.space6 : 560)
    x: parent ? Math.round((parent.width - width) / 2) : 0
    y: parent ? Math.round((parent.height - height) / 2) : 0
    padding: Theme.space4
    modal: true
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside
    onClosed: source.close()

    T.Overlay.modal: Rectangle {
        color: Theme.scrim
    }

    background: PopupSurface {
        radius: Theme.radiusCard
        depth: 10
    }

    Connections {
        target: panel.source
        function onContentChanged() {
            if (panel.source.isOpen) {
                panel.open();
            } else {
                panel.close();
            }
        }
    }

    contentItem: FocusScope {
        implicitHeight: layout.implicitHeight
        focus: true
        Accessible.role: Accessible.Dialog
        Accessible.name: qsTr("Preview of %1").arg(panel.source.title)
        Keys.onSpacePressed: panel.close()

        ColumnLayout {
            id: layout
            anchors.fill: parent
            spacing: Theme.space3

            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.space2

                AppIcon {
                    name: panel.source.iconName
                    size: Theme.iconMedium
                    color: Theme.textSecondary
                }
                AppLabel {
                    objectName: "previewTitle"
                    Layout.fillWidth: true
                    text: panel.source.title
                    font.pixelSize: Theme.sizeEmphasis
                    font.weight: Font.DemiBold
                    elide: Text.ElideMiddle
                    Accessible.role: Accessible.Heading
                }
                AppIconButton {
                    text: qsTr("Close")
                    icon.name: "close"
                    onClicked: panel.close()
                }
            }

            Rectangle {
                visible: panel.source.content === QuickLookDataSource.Picture
                Layout.fillWidth: true
                Layout.fillHeight: true
                radius: Theme.radiusControl
                color: Theme.rowAlternate

                PreviewImage {
                    objectName: "previewPicture"
                    anchors.fill: parent
                    anchors.margins: Theme.space2
                    image: panel.source.picture
                    Accessible.role: Accessible.Graphic
                    Accessible.name: panel.source.title
                }
            }

            Rectangle {
                visible: panel.source.content === QuickLookDataSource.Text
                Layout.fillWidth: true
                Layout.fillHeight: true
                radius: Theme.radiusControl
                color: Theme.rowAlternate

                Flickable {
                    id: page
                    anchors.fill: parent
                    anchors.margins: Theme.space2
                    clip: true
                    boundsBehavior: Flickable.StopAtBounds
                    contentWidth: width
                    contentHeight: words.height
                    T.ScrollBar.vertical: AppScrollBar {}

                    TextEdit {
                        id: words
                        objectName: "previewText"
                        width: page.width - Theme.space3
                        text: panel.source.text
                        focus: true
                        readOnly: true
                        selectByMouse: true
                        selectionColor: Theme.accentFill
                        selectedTextColor: Theme.textOnAccent
                        color: Theme.text
                        font.family: "monospace"
                        font.pixelSize: Theme.sizeBody
                        textFormat: TextEdit.PlainText
                        wrapMode: TextEdit.Wrap
                        Accessible.role: Accessible.EditableText
                        Accessible.readOnly: true
                        Accessible.name: qsTr("Beginning of the file")
                        Keys.onSpacePressed: panel.close()
                        Keys.onDownPressed: page.flick(0, -600)
                        Keys.onUpPressed: page.flick(0, 600)
                    }
                }
            }

            AppIcon {
                visible: panel.source.content === QuickLookDataSource.Facts
                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: Theme.space4
                Layout.bottomMargin: Theme.space4
                name: panel.source.iconName
                size: Math.round(72 * Theme.typeScale)
                color: Theme.textSecondary
            }

            AppLabel {
                objectName: "previewMessage"
                visible: text.length > 0
                Layout.fillWidth: true
                text: panel.source.message
                secondary: true
                wrapMode: Text.Wrap
                horizontalAlignment: panel.source.content === QuickLookDataSource.Facts ? Text.AlignHCenter
                                                                                        : Text.AlignLeft
            }

            Hairline {
                Layout.fillWidth: true
            }

            Flow {
                Layout.fillWidth: true
                spacing: Theme.space6

                Repeater {
                    model: panel.source.facts

                    Column {
                        id: fact

                        required property var modelData

                        spacing: 2

                        AppLabel {
                            text: fact.modelData.label
                            secondary: true
                            font.pixelSize: Theme.sizeCaption
                        }
                        AppLabel {
                            text: fact.modelData.value
                        }
                    }
                }
            }

            TextEdit {
                objectName: "previewPath"
                Layout.fillWidth: true
                text: panel.source.pathText
                readOnly: true
                selectByMouse: true
                activeFocusOnTab: true
                selectionColor: Theme.accentFill
                selectedTextColor: Theme.textOnAccent
                color: Theme.textSecondary
                font.pixelSize: Theme.sizeBody
                textFormat: TextEdit.PlainText
                wrapMode: TextEdit.WrapAnywhere
                Accessible.role: Accessible.EditableText
                Accessible.readOnly: true
                Accessible.name: qsTr("Path")
            }
        }
    }
}
