import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// A scan under way.
T.Control {
    id: page

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver

    background: Rectangle {
        color: Theme.surface
    }

    GravitationalScanLoadingView {
        anchors.fill: parent
        title: page.presenter.scanTitle
        subtitle: qsTr("Tracing folders and measuring storage gravity...")
        presenter: page.presenter
        still: Theme.reducesMotion
        onCancelled: page.driver.cancelScan()
    }
}
