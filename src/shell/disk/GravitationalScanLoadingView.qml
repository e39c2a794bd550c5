import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What stands in the map's place while a scan runs: the moving picture, the figures on their way up, and where the scan
// is. `still` keeps the picture from moving.
ProgressPage {
    id: view

    required property DiskSpacePresenter presenter
    property alias subtitle: view.text
    property bool still: false

    hasBar: false
    widest: 620 * Theme.typeScale
    place: presenter.currentPath
    placeName: qsTr("Current folder: %1").arg(place)
    picture: Component {
        ScanOrbits {
            // qmllint disable unqualified
            implicitWidth: Math.round(Math.max(180, Math.min(340, view.height - 300 * Theme.typeScale)))
            implicitHeight: implicitWidth
            activity: view.presenter.activityLevel
            still: view.still
            // qmllint enable unqualified
            accent: Theme.accentFill
            track: Theme.hairline
        }
    }

    RowLayout {
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
}
