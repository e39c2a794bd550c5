import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// One row of the history: an operation, the help below it, or one of its items.
Rectangle {
    id: row

    required property int index
    required property int kind
    required property string title
    required property string date
    required property string text
    required property bool isOpen
    required property bool isFailure
    required property bool canLocate
    required property string spokenText
    required property bool isCurrent
    required property bool hasRing
    property string help: ""

    signal chosen
    signal activated
    signal locateRequested

    readonly property bool isOperation: kind === CleanupHistoryModel.Operation
    readonly property int indent: Theme.space5 + Theme.iconSmall + Theme.space3

    implicitHeight: content.implicitHeight + 2 * Theme.space2
    color: isCurrent ? Theme.selection : isOperation && pointer.hovered ? Theme.hover
                                                     : isOperation ? Theme.surface : Theme.rowAlternate
    Accessible.role: Accessible.ListItem
    Accessible.name: spokenText
    Accessible.focusable: true
    Accessible.selectable: true
    Accessible.selected: isCurrent
    Accessible.onPressAction: activated()

    HoverHandler {
        id: pointer
    }
    TapHandler {
        onTapped: {
            row.chosen();
            if (row.isOperation) {
                row.activated();
            }
        }
    }

    Loader {
        id: content
        anchors.left: parent.left
        anchors.leftMargin: row.isOperation ? Theme.space5 : row.indent
        anchors.right: parent.right
        // On a wide screen what belongs together stays together.
        anchors.rightMargin: Math.max(Theme.space5, row.width - 1120 * Theme.typeScale)
        y: Theme.space2
        sourceComponent: row.isOperation ? operation : row.kind === CleanupHistoryModel.Help ? helpText : item
    }

    // qmllint disable unqualified
    Component {
        id: operation

        RowLayout {
            spacing: Theme.space3

            AppIcon {
                name: row.isOpen ? "chevron-down" : "chevron-right"
                color: Theme.textSecondary
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2

                RowLayout {
                    Layout.fillWidth: true
                    spacing: Theme.space3

                    Text {
                        Layout.fillWidth: true
                        text: row.title
                        color: Theme.text
                        font.pixelSize: Theme.sizeBody
                        font.weight: Font.DemiBold
                        elide: Text.ElideRight
                        textFormat: Text.PlainText
                    }
                    Text {
                        text: row.date
                        color: Theme.textSecondary
                        font.pixelSize: Theme.sizeBody
                        textFormat: Text.PlainText
                    }
                }
                RowLayout {
                    Layout.fillWidth: true
                    spacing: Theme.space2

                    AppIcon {
                        name: row.isFailure ? "warning" : "check-circle"
                        color: row.isFailure ? Theme.review : Theme.safe
                        size: Math.round(14 * Theme.typeScale)
                    }
                    Text {
                        Layout.fillWidth: true
                        text: row.text
                        color: Theme.textSecondary
                        font.pixelSize: Theme.sizeBody
                        wrapMode: Text.Wrap
                        textFormat: Text.PlainText
                    }
                }
            }
        }
    }
    Component {
        id: helpText

        RowLayout {
            spacing: Theme.space2

            AppIcon {
                Layout.alignment: Qt.AlignTop
                name: "help"
                color: Theme.textSecondary
                size: Math.round(14 * Theme.typeScale)
            }
            Text {
                Layout.fillWidth: true
                text: row.title
                color: Theme.textSecondary
                font.pixelSize: Theme.sizeCaption
                wrapMode: Text.Wrap
                textFormat: Text.PlainText
                lineHeight: 1.2
            }
        }
    }
    Component {
        id: item

        RowLayout {
            spacing: Theme.space3

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2

                TextEdit {
                    Layout.fillWidth: true
                    text: row.title
                    readOnly: true
                    selectByMouse: true
                    wrapMode: TextEdit.WrapAnywhere
                    textFormat: TextEdit.PlainText
                    color: Theme.text
                    selectionColor: Theme.accentFill
                    selectedTextColor: Theme.textOnAccent
                    font.pixelSize: Theme.sizeBody
                    Accessible.ignored: true
                }
                TextEdit {
                    visible: row.text.length > 0
                    Layout.fillWidth: true
                    text: row.text
                    readOnly: true
                    selectByMouse: true
                    wrapMode: TextEdit.Wrap
                    textFormat: TextEdit.PlainText
                    color: row.isFailure ? Theme.review : Theme.textSecondary
                    selectionColor: Theme.accentFill
                    selectedTextColor: Theme.textOnAccent
                    font.pixelSize: Theme.sizeBody - 1
                    Accessible.ignored: true
                }
            }
            AppButton {
                visible: row.canLocate
                text: qsTr("Locate in Trash")
                icon.name: "reveal"
                toolTip: row.help
                // Return on the row does the same: the Tab key would else stop at every item.
                focusPolicy: Qt.NoFocus
                implicitHeight: Theme.minimumTarget
                onClicked: row.locateRequested()
            }
        }
    }
    // qmllint enable unqualified

    Hairline {
        visible: row.isOperation && row.index > 0
        width: parent.width
    }
    FocusRing {
        gap: -3
        shown: row.hasRing
    }
}
