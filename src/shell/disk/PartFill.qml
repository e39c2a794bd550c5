import QtQuick
import Larkfold.Shell

// How a part of a bar is drawn, and the sample of it beside its figure. The parts can be told from each other without
// their colours: one is solid, one is striped, one is empty.
Rectangle {
    id: fill

    enum Kind {
        Used,
        Reserved,
        Free
    }

    property int kind: PartFill.Used

    implicitWidth: Math.round(10 * Theme.typeScale)
    implicitHeight: implicitWidth
    radius: 2
    color: kind === PartFill.Used ? Theme.accentFill : kind === PartFill.Reserved ? "transparent" : Theme.track
    border.width: kind === PartFill.Reserved ? 1 : 0
    border.color: Theme.textSecondary
    clip: true

    Row {
        visible: fill.kind === PartFill.Reserved
        x: 2
        spacing: 2

        Repeater {
            // Upright stripes of two points stay sharp in every renderer.
            model: fill.kind === PartFill.Reserved ? Math.min(500, Math.max(0, Math.floor((fill.width - 2) / 4))) : 0

            Rectangle {
                width: 2
                height: fill.height // qmllint disable unqualified
                color: Theme.textSecondary
            }
        }
    }
}
