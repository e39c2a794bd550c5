import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What stands in the map's place while a scan runs: the moving picture, the figures on their way up, and where the scan
// is. `still` keeps the picture from moving.
Item {
    id: view

    required property DiskSpacePresenter presenter
    property string title: ""
    property string subtitle: ""
    property bool still: false

    signal cancelled

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.space6, 620 * Theme.typeScale)
        spacing: Theme.space3

        ScanOrbits {
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: Math.round(Math.max(180, Math.min(340, view.height - 300 * Theme.typeScale)))
            Layout.preferredHeight: Layout.preferredWidth
            activity: view.presenter.activityLevel
            still: view.still
            accent: Theme.accentFill
            track: Theme.hairline
        }
        AppLabel {
            Layout.fillWidth: true
            Layout.topMargin: Theme.space1
            horizontalAlignment: Text.AlignHCenter
            text: view.title
            font.pixelSize: Theme.sizeTitle
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
        }
        AppLabel {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: view.subtitle
            secondary: true
            wrapMode: Text.Wrap
        }

        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            Layout.maximumWidth: parent.width
            Layout.topMargin: Theme.space3
            spacing: 0

            ScanMetric {
                title: qsTr("Files")
                value: view.presenter.filesScanned
                text: view.presenter.countText(shown)
            }
            Hairline {
                vertical: true
                Layout.preferredHeight: Math.round(36 * Theme.typeScale)
            }
            ScanMetric {
                title: qsTr("Folders")
                value: view.presenter.directoriesScanned
                text: view.presenter.countText(shown)
            }
            Hairline {
                vertical: true
                Layout.preferredHeight: Math.round(36 * Theme.typeScale)
            }
            ScanMetric {
                title: qsTr("Measured")
                value: view.presenter.bytesScanned
                text: view.presenter.byteCountText(shown)
            }
        }

        AppLabel {
            Layout.fillWidth: true
            Layout.topMargin: Theme.space2
            Layout.preferredHeight: Math.round(18 * Theme.typeScale)
            horizontalAlignment: Text.AlignHCenter
            text: view.presenter.currentPath
            secondary: true
            font.pixelSize: Theme.sizeBody - 1
            elide: Text.ElideMiddle
            Accessible.name: qsTr("Current folder: %1").arg(text)
        }
    }
}
