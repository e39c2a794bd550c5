import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What stands in the place of the rows where there are none: a picture, why, and one thing to do.
Item {
    id: state

    required property FileListModel model

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.space6, 320 * Theme.typeScale)
        spacing: Theme.space2

        AppIcon {
            visible: state.height > 190 * Theme.typeScale
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: Theme.space2
            size: Math.round(40 * Theme.typeScale)
            name: state.model.emptyReason === FileListModel.NothingMatches ? "search" : "folder-open"
            color: Theme.textSecondary
        }
        AppLabel {
            objectName: "emptyTitle"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: state.model.emptyTitle
            font.pixelSize: Theme.sizeEmphasis
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
        }
        AppLabel {
            visible: state.height > 120 * Theme.typeScale
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: state.model.emptyText
            secondary: true
            wrapMode: Text.Wrap
        }
        AppButton {
            objectName: "emptyAction"
            visible: state.model.emptyReason === FileListModel.NothingMatches
                     || (state.model.emptyReason === FileListModel.EmptyFolder && state.model.canGoBack)
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: Theme.space2
            text: state.model.emptyReason === FileListModel.NothingMatches ? qsTr("Clear search and filters")
                                                                           : qsTr("Go back")
            onClicked: {
                if (state.model.emptyReason === FileListModel.NothingMatches) {
                    state.model.resetSearchAndFilters();
                } else {
                    state.model.goBack();
                }
            }
        }
    }
}
