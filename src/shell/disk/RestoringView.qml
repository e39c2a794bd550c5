import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// The saved scan is being read back.
T.Control {
    id: page

    required property DiskSpacePresenter presenter

    background: Rectangle {
        color: Theme.surface
    }

    ProgressPage {
        anchors.fill: parent
        title: page.presenter.restoreTitle
        picture: Component {
            ScanOrbits {
                implicitWidth: 180
                implicitHeight: 180
                still: Theme.reducesMotion
                accent: Theme.accentFill
                track: Theme.hairline
            }
        }
    }
}
