import QtQuick
import QtQuick.Window
import Larkfold.Shell

// A line of one device pixel, lying by default, standing where `vertical`.
Rectangle {
    property bool vertical: false

    implicitWidth: 1 / Screen.devicePixelRatio
    implicitHeight: 1 / Screen.devicePixelRatio
    color: Theme.hairline
}
