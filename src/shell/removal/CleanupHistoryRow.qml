import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// One row of the history: an operation, the help below it, or one of its items.
SectionRow {
    id: row

    required property int kind
    required property string title
    required property string date
    required property string text
    required property bool isFailure
    required property bool canLocate
    required property string sizeText
    property string help: ""

    signal locateRequested

    header: operation
    item: kind === CleanupHistoryModel.Help ? helpText : record

    // qmllint disable unqualified
    Component {
        id: operation

        ColumnLayout {
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
        id: record

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
            // What failed was measured too, and is still there.
            Text {
                Layout.alignment: Qt.AlignTop
                Layout.minimumWidth: Math.round(84 * Theme.typeScale)
                text: row.sizeText
                color: row.isFailure ? Theme.textSecondary : Theme.text
                font.pixelSize: Theme.sizeBody
                horizontalAlignment: Text.AlignRight
                textFormat: Text.PlainText
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
}
