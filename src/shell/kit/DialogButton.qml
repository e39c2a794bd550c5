import QtQuick.Templates as T
import Larkfold.Shell

// The button that stands for one action of an `AppDialog`.
AppButton {
    property T.Action stands: null

    text: stands ? stands.text : ""
    enabled: stands ? stands.enabled : false
}
