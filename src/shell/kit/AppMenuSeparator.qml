import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

T.MenuSeparator {
    implicitWidth: 120
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
    verticalPadding: Theme.space1
    Accessible.ignored: true

    contentItem: Hairline {}
}
