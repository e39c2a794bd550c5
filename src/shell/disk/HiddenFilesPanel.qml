import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The switch for hidden files, and the way to a map that follows it.
T.Popup {
    id: panel

    required property DiskSpacePresenter presenter
    required property DiskScannerViewModel driver
    required property DiskCommands can

    implicitWidth: 300 * Theme.typeScale
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    padding: Theme.space4
    margins: Theme.space2
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside

    background: PopupSurface {}

    contentItem: ColumnLayout {
        spacing: Theme.space2

        AppLabel {
            Layout.fillWidth: true
            text: qsTr("Hidden files and folders are not in these sums. Their names begin with a dot.")
            secondary: true
            wrapMode: Text.Wrap
            lineHeight: 1.2
        }
        AppCheckBox {
            text: qsTr("Skip hidden files")
            checked: panel.driver.skipHiddenFiles
            focus: true
            onToggled: panel.driver.skipHiddenFiles = checked
        }
        AppButton {
            text: qsTr("Scan Again")
            icon.name: "refresh"
            enabled: panel.presenter.hiddenSettingDiffers && panel.can.scanAgain.enabled
            onClicked: {
                panel.close();
                panel.can.scanAgain.trigger();
            }
        }
    }
}
