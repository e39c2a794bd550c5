pragma Singleton

import QtQuick

// Every colour, radius, spacing and type size of the interface. Nothing else holds a literal.
//
// `dark` and `reducesMotion` are set once by the window from the desktop's settings and follow them.
QtObject {
    id: theme

    property bool dark: false
    property bool reducesMotion: false
    // How much larger than usual the desktop wants text; everything that holds text grows along.
    property real typeScale: 1

    // Surfaces, from the back to the front.
    readonly property color window: dark ? "#17181c" : "#f4f5f8"
    readonly property color sidebar: dark ? "#16171b" : "#ecedf2"
    readonly property color surface: dark ? "#1e2128" : "#ffffff"
    readonly property color surfaceRaised: dark ? "#272b34" : "#ffffff"
    readonly property color rowAlternate: dark ? "#22262e" : "#f7f8fa"
    readonly property color hairline: dark ? "#343843" : "#dcdee6"
    readonly property color hover: dark ? "#2a2f39" : "#eef0f5"
    readonly property color pressed: dark ? "#333946" : "#e2e5ed"
    readonly property color selection: dark ? "#22345c" : "#e6edff"
    readonly property color toolTip: dark ? "#3a404d" : "#2b2f38"
    readonly property color toolTipText: "#ffffff"
    readonly property color scrim: dark ? "#8c000000" : "#59202430"

    // Text, each at least 4.5:1 on the surfaces above.
    readonly property color text: dark ? "#f0f1f5" : "#181a20"
    readonly property color textSecondary: dark ? "#a3a8b5" : "#5c6270"
    readonly property color textOnAccent: "#ffffff"

    // Around what has the keyboard, 3:1 at least against every surface.
    readonly property color focus: dark ? "#7ea6ff" : "#2b63e8"
    readonly property color controlBorder: dark ? "#4a5060" : "#c9ccd6"
    readonly property color track: dark ? "#343946" : "#dfe2ea"
    readonly property color knob: "#ffffff"
    readonly property color shadow: dark ? "#60000000" : "#1a202430"

    // Meaning. Red belongs to removal alone.
    // Text stands on it also where it is mixed with what lies below, as in the middle of the map.
    readonly property color accent: dark ? "#4f83f7" : "#1c4dcc"
    readonly property color accentFill: dark ? "#3568e0" : "#2b63e8"
    readonly property color accentHover: dark ? "#4276ec" : "#2358d6"
    readonly property color link: dark ? "#7ea6ff" : "#1f56d6"
    readonly property color removal: dark ? "#ff6b6b" : "#c8232c"
    readonly property color removalFill: dark ? "#3b2226" : "#fdecec"
    readonly property color review: dark ? "#f0b35a" : "#9a5b00"
    readonly property color reviewFill: dark ? "#3a2f1c" : "#fff4e0"
    readonly property color safe: dark ? "#5fcf8e" : "#1b7a45"
    readonly property color safeFill: dark ? "#1c3327" : "#e1f5e9"

    // The map.
    readonly property color mapCentre: Qt.alpha(accent, 0.8)
    readonly property color mapMarked: Qt.rgba(1, 0, 0, 0.8)

    // Steps of 4.
    readonly property int space1: 4
    readonly property int space2: 8
    readonly property int space3: 12
    readonly property int space4: 16
    readonly property int space5: 20
    readonly property int space6: 24
    readonly property int space8: 32
    readonly property int space12: 48

    readonly property int iconSmall: Math.round(16 * typeScale)
    readonly property int iconMedium: Math.round(20 * typeScale)
    readonly property int iconLarge: Math.round(24 * typeScale)

    readonly property int radiusControl: 6
    readonly property int radiusCard: 10
    readonly property int controlHeight: Math.round(32 * typeScale)
    readonly property int minimumTarget: 28
    readonly property int rowHeight: Math.round(32 * typeScale)
    readonly property int toolbarHeight: Math.round(56 * typeScale)
    readonly property int sidebarWidth: Math.round(200 * typeScale)
    readonly property int sidebarWidthNarrow: Math.round(56 * typeScale)

    // Type: caption, body, emphasis, title, display.
    readonly property int sizeCaption: Math.round(11 * typeScale)
    readonly property int sizeBody: Math.round(13 * typeScale)
    readonly property int sizeEmphasis: Math.round(15 * typeScale)
    readonly property int sizeTitle: Math.round(20 * typeScale)
    readonly property int sizeDisplay: Math.round(28 * typeScale)

    // Motion: none at all when the desktop asks for none.
    readonly property int durationShort: reducesMotion ? 0 : 120
    readonly property int durationMedium: reducesMotion ? 0 : 180
}
