import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The saved scan is being read back.
T.Control {
    id: page

    required property DiskSpacePresenter presenter

    background: Rectangle {
        color: Theme.surface
    }

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.space6, 420 * Theme.typeScale)
        spacing: Theme.space3

        ScanOrbits {
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: 180
            Layout.preferredHeight: 180
            still: Theme.reducesMotion
            accent: Theme.accentFill
            track: Theme.hairline
        }
        AppLabel {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: page.presenter.restoreTitle
            font.pixelSize: Theme.sizeTitle
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
        }
        AppProgressBar {
            Layout.fillWidth: true
            indeterminate: true
            Accessible.name: page.presenter.restoreTitle
        }
    }
}
