import QtQuick

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
        soon.restart();
    }

    // What was said does not hold any more.
    function clear() {
        soon.stop();
        visible = false;
        sentence = "";
    }

    // It appears only once its name is there.
    Timer {
        id: soon
        interval: 0
        onTriggered: said.visible = true
    }
}
