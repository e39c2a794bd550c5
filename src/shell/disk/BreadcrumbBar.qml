import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// The way in, each folder a button, and the way back.
Rectangle {
    id: bar

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver

    implicitHeight: Math.round(40 * Theme.typeScale)
    color: Theme.surface

    Hairline {
        anchors.bottom: parent.bottom
        width: parent.width
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.space3
        anchors.rightMargin: Theme.space5
        spacing: Theme.space2

        AppIconButton {
            icon.name: "chevron-left"
            text: qsTr("Back")
            toolTip: qsTr("Back (Alt+Left)")
            enabled: bar.presenter.canGoBack
            onClicked: bar.driver.navigateBack()
        }

        CrumbRow {
            Layout.fillWidth: true
            Layout.preferredHeight: Theme.controlHeight
            model: bar.presenter.breadcrumb
            onChosen: index => bar.presenter.navigateToCrumb(index)
        }

        AppLabel {
            visible: bar.width > 720 * Theme.typeScale
            text: qsTr("Click to navigate, %1+click to select").arg(Words.commandKey)
            secondary: true
        }
    }
}
