import QtQuick
import QtQuick.Layouts
import Larkfold.Shell

// What stands in the place of rows that could not be had: what happened, what was not harmed, what to do, and one action.
// A text that says several of these at once is given as the reason.
EmptyState {
    id: state

    property alias reason: state.text
    property string unharmed: ""
    property string advice: ""

    widest: 480 * Theme.typeScale
    iconName: "warning"
    iconColor: Theme.review
    Accessible.role: Accessible.AlertMessage
    Accessible.name: title
    Accessible.description: reason

    Repeater {
        model: [state.unharmed, state.advice]

        AppLabel {
            required property string modelData

            visible: text.length > 0
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: modelData
            secondary: true
            wrapMode: Text.Wrap
            lineHeight: 1.25
        }
    }
}
