import QtQuick
import QtQuick.Controls.impl as Impl
import Larkfold.Shell

// One icon of our own set, by its name, drawn at `size` and tinted with `color`. Pure decoration for a screen reader:
// the control that it stands in has the name.
Impl.IconImage {
    property int size: Theme.iconSmall

    sourceSize.width: size
    sourceSize.height: size
    width: size
    height: size
    color: Theme.text
    Accessible.ignored: true
}
