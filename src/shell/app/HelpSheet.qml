import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The help: how to read the map, and the keys.
AppDialog {
    id: sheet

    required property LarkfoldApp app

    iconName: "help"
    preferredWidth: 560 * Theme.typeScale
    title: qsTr("Larkfold Help")
    text: qsTr("Larkfold measures a folder, or the whole disk, and draws where the space went. Looking changes nothing on your disk, and nothing leaves this computer.")
    actions: [done]
    defaultAction: done
    cancelAction: done

    T.Action {
        id: done
        text: qsTr("Done")
    }

    component Topic: ColumnLayout {
        id: topic

        property string heading: ""
        property string body: ""

        Layout.fillWidth: true
        spacing: Theme.space1

        AppLabel {
            text: topic.heading
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        AppLabel {
            visible: text.length > 0
            Layout.fillWidth: true
            text: topic.body
            secondary: true
            wrapMode: Text.Wrap
            lineHeight: 1.25
        }
    }

    component Key: RowLayout {
        id: key

        property string keys: ""
        property string meaning: ""

        Layout.fillWidth: true
        spacing: Theme.space3

        AppLabel {
            Layout.preferredWidth: 130 * Theme.typeScale
            text: key.keys
            font.weight: Font.Medium
        }
        AppLabel {
            Layout.fillWidth: true
            text: key.meaning
            secondary: true
            elide: Text.ElideRight
        }
    }

    // Large type needs more room than a small window has: then it is scrolled, with the arrow keys as well.
    Flickable {
        id: scroller
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.minimumHeight: 3 * Theme.rowHeight
        Layout.preferredHeight: topics.implicitHeight
        contentWidth: width
        contentHeight: topics.implicitHeight
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        activeFocusOnTab: contentHeight > height
        T.ScrollBar.vertical: AppScrollBar {
            id: bar
        }
        Accessible.role: Accessible.Pane
        Accessible.name: sheet.title
        Keys.onUpPressed: bar.decrease()
        Keys.onDownPressed: bar.increase()

        ColumnLayout {
            id: topics
            width: scroller.width - (bar.visible ? bar.width : 0)
            spacing: Theme.space3

            Topic {
                heading: qsTr("The map")
                body: qsTr("The centre is the folder you look at. Each ring around it is one level deeper, and the wider an arc, the more space it takes. “Other scanned files” and “Other indexed files” stand for the files of one folder that are not shown one by one.")
            }
            Topic {
                heading: qsTr("Places that could not be read")
                body: qsTr("What your account may not open is missing from the sums. The line below the map says how many such places there are; press it for the list and the reasons.")
            }
            Topic {
                heading: qsTr("Keys in map and list")
            }
            GridLayout {
                Layout.fillWidth: true
                columns: topics.width < 480 * Theme.typeScale ? 1 : 2
                columnSpacing: Theme.space4
                rowSpacing: Theme.space1

                Key {
                    keys: qsTr("Arrow keys")
                    meaning: qsTr("Move")
                }
                Key {
                    keys: qsTr("Return")
                    meaning: qsTr("Go in, or select")
                }
                Key {
                    keys: qsTr("Alt+Left, Backspace")
                    meaning: qsTr("Go back")
                }
                Key {
                    keys: qsTr("Space")
                    meaning: qsTr("Mark")
                }
                Key {
                    keys: qsTr("%1+click").arg(Words.commandKey)
                    meaning: qsTr("Mark")
                }
                Key {
                    keys: qsTr("Delete")
                    meaning: qsTr("Review what is marked")
                }
                Key {
                    keys: qsTr("%1+N").arg(Words.commandKey)
                    meaning: qsTr("New scan")
                }
                Key {
                    keys: qsTr("%1+.").arg(Words.commandKey)
                    meaning: qsTr("Cancel the scan")
                }
                Key {
                    keys: qsTr("%1+,").arg(Words.commandKey)
                    meaning: qsTr("Settings")
                }
                Repeater {
                    model: sheet.app.tabRows

                    Key {
                        required property var modelData

                        visible: keys.length > 0
                        keys: Words.keys(modelData.shortcut)
                        meaning: modelData.title
                    }
                }
            }
        }

        FocusRing {
            parent: scroller
            shown: scroller.activeFocus
            gap: -2
        }
    }
}
