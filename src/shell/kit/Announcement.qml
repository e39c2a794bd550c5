import QtQuick
import Larkfold.Shell

// Says a sentence to a screen reader, also the same one twice. Not seen: what is said stands in the page as well, under a
// role that is not read out by itself.
//
// What such a program hears of is an alert that appears; a text that changes while it stands is no news to it.
Item {
    id: said

    objectName: "announcement"

    property string sentence: ""

    width: 1
    height: 1
    visible: false
    Accessible.role: Accessible.AlertMessage
    Accessible.name: sentence

    function say(words: string) {
        visible = false;
        sentence = words;
        Qt.callLater(show);
    }

    // What was said does not hold any more.
    function clear() {
        visible = false;
        sentence = "";
    }

    // Only once its name is there.
    function show() {
        visible = sentence.length > 0;
    }
}
