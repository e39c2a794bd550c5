import QtQuick
import QtQuick.Templates as T
import Larkfold.Shell

// One line of text. With `iconName` an icon stands before it; while there is text, a button at its end clears it.
T.TextField {
    id: control

    property string iconName: ""
    property bool clearable: true
    readonly property bool showsClearButton: clearable && !readOnly && length > 0

    implicitWidth: 160 * Theme.typeScale
    implicitHeight: Theme.controlHeight
    leftPadding: iconName.length > 0 ? Theme.space2 * 2 + Theme.iconSmall : Theme.space2 + 2
    rightPadding: showsClearButton ? clear.width : Theme.space2
    topPadding: 0
    bottomPadding: 0
    verticalAlignment: TextInput.AlignVCenter
    color: Theme.text
    placeholderTextColor: Theme.textSecondary
    selectionColor: Theme.accentFill
    selectedTextColor: Theme.textOnAccent
    selectByMouse: true
    hoverEnabled: true
    opacity: enabled ? 1 : 0.45
    font.pixelSize: Theme.sizeBody

    Accessible.role: Accessible.EditableText
    Accessible.name: placeholderText

    background: Rectangle {
        radius: Theme.radiusControl
        color: Theme.surfaceRaised
        border.width: 1
        border.color: control.activeFocus ? Theme.focus : Theme.controlBorder

        FocusRing {
            shown: control.activeFocus
            gap: -1
        }
    }

    AppIcon {
        visible: control.iconName.length > 0
        x: Theme.space2
        anchors.verticalCenter: parent.verticalCenter
        name: control.iconName
        color: Theme.textSecondary
    }

    // The field draws its own hint: the template has none.
    Text {
        visible: control.length === 0 && control.preeditText.length === 0
        x: control.leftPadding
        width: control.width - control.leftPadding - control.rightPadding
        height: control.height
        text: control.placeholderText
        font: control.font
        color: control.placeholderTextColor
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        textFormat: Text.PlainText
    }

    AppIconButton {
        id: clear
        visible: control.showsClearButton
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        text: qsTr("Clear")
        icon.name: "close"
        icon.width: 12 * Theme.typeScale
        focusPolicy: Qt.NoFocus
        onClicked: {
            control.clear();
            control.textEdited();
            control.forceActiveFocus();
        }
    }
}
