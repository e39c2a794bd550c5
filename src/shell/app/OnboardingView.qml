import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Larkfold.Shell

// The first run's pages.
T.Control {
    id: onboarding

    required property PermissionManager permissionManager
    property int currentPage: 0
    readonly property int totalPages: 4

    signal finished

    background: Rectangle {
        color: Theme.surface
    }

    Flickable {
        id: flickable
        anchors.top: parent.top
        anchors.bottom: footer.top
        anchors.left: parent.left
        anchors.right: parent.right
        contentWidth: width
        contentHeight: Math.max(height, pageLoader.implicitHeight + 2 * Theme.space8)
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        T.ScrollBar.vertical: AppScrollBar {}

        Loader {
            id: pageLoader
            x: Math.round((flickable.width - width) / 2)
            y: Math.max(Theme.space8, Math.round((flickable.height - implicitHeight) * 0.46))
            width: Math.min(flickable.width - 2 * Theme.space8, 520 * Theme.typeScale)
            sourceComponent: [welcome, abilities, permissions, ready][onboarding.currentPage]
        }
    }

    Rectangle {
        id: footer
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: Math.round(64 * Theme.typeScale)
        color: Theme.window

        Hairline {
            width: parent.width
        }

        AppButton {
            visible: onboarding.currentPage > 0
            anchors.left: parent.left
            anchors.leftMargin: Theme.space6
            anchors.verticalCenter: parent.verticalCenter
            text: qsTr("Back")
            onClicked: --onboarding.currentPage
        }

        Row {
            anchors.centerIn: parent
            spacing: Theme.space2
            Accessible.role: Accessible.StaticText
            Accessible.name: qsTr("Page %1 of %2").arg(onboarding.currentPage + 1).arg(onboarding.totalPages)

            Repeater {
                model: onboarding.totalPages

                Rectangle {
                    required property int index
                    readonly property bool isCurrent: index === onboarding.currentPage // qmllint disable unqualified

                    width: isCurrent ? 20 : 8
                    height: 8
                    radius: 4
                    color: isCurrent ? Theme.accentFill : Theme.controlBorder

                    Behavior on width {
                        NumberAnimation {
                            duration: Theme.durationMedium
                        }
                    }
                }
            }
        }

        AppButton {
            readonly property bool isLast: onboarding.currentPage === onboarding.totalPages - 1

            anchors.right: parent.right
            anchors.rightMargin: Theme.space6
            anchors.verticalCenter: parent.verticalCenter
            text: isLast ? qsTr("Get Started") : qsTr("Next")
            kind: AppButton.Primary
            focus: true
            onClicked: {
                if (isLast) {
                    onboarding.finished();
                } else {
                    ++onboarding.currentPage;
                }
            }
        }
    }

    component Title: AppLabel {
        Layout.fillWidth: true
        horizontalAlignment: Text.AlignHCenter
        font.pixelSize: Theme.sizeDisplay
        font.weight: Font.Bold
        wrapMode: Text.Wrap
        Accessible.role: Accessible.Heading
    }
    component Subtitle: AppLabel {
        Layout.fillWidth: true
        horizontalAlignment: Text.AlignHCenter
        secondary: true
        font.pixelSize: Theme.sizeEmphasis
        wrapMode: Text.Wrap
    }
    component Ability: RowLayout {
        id: ability

        property string iconName: ""
        property string title: ""
        property string text: ""

        Layout.fillWidth: true
        spacing: Theme.space4

        Rectangle {
            implicitWidth: Math.round(40 * Theme.typeScale)
            implicitHeight: implicitWidth
            radius: Theme.radiusCard
            color: Theme.selection

            AppIcon {
                anchors.centerIn: parent
                name: ability.iconName
                size: Theme.iconMedium
                color: Theme.link
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            AppLabel {
                Layout.fillWidth: true
                text: ability.title
                font.pixelSize: Theme.sizeEmphasis
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
            }
            AppLabel {
                Layout.fillWidth: true
                text: ability.text
                secondary: true
                wrapMode: Text.Wrap
            }
        }
    }
    // By anchors: within a row of the layouts the icon and the text would keep the places that they had while the text was
    // laid out at no width, a word to each line.
    component Tip: Item {
        id: tip

        property string text: ""

        Layout.fillWidth: true
        implicitHeight: Math.max(tipIcon.height, tipText.implicitHeight)

        AppIcon {
            id: tipIcon
            objectName: "tipIcon"
            y: Math.max(0, Math.round((tipLine.height - height) / 2))
            name: "check-circle"
            size: Theme.iconMedium
            color: Theme.safe
        }
        AppLabel {
            id: tipText
            y: Math.max(0, Math.round((tipIcon.height - tipLine.height) / 2))
            anchors.left: tipIcon.right
            anchors.leftMargin: Theme.space3
            anchors.right: parent.right
            text: tip.text
            wrapMode: Text.Wrap
        }
        FontMetrics {
            id: tipLine
            font.pixelSize: Theme.sizeBody
        }
    }

    // qmllint disable unqualified
    Component {
        id: welcome

        ColumnLayout {
            spacing: Theme.space3

            ScanOrbits {
                Layout.alignment: Qt.AlignHCenter
                Layout.preferredWidth: 220
                Layout.preferredHeight: 220
                Layout.bottomMargin: Theme.space3
                still: true
                accent: Theme.accentFill
                track: Theme.hairline
            }
            Title {
                text: qsTr("Welcome to Larkfold")
            }
            Subtitle {
                text: qsTr("The smart way to free up disk space on your %1").arg(Words.computer)
            }
        }
    }

        Component {
        id: abilities

        ColumnLayout {
            spacing: Theme.space5

            Title {
                Layout.bottomMargin: Theme.space2
                text: qsTr("What Larkfold Can Do")
            }
            Ability {
                iconName: "disk"
                title: qsTr("Visualize Disk Space")
                text: qsTr("Map your disk and inspect large folders with interactive charts")
            }
            Ability {
                iconName: "copy"
                title: qsTr("Find Duplicates")
                text: qsTr("Discover duplicate files wasting precious storage")
            }
            Ability {
                iconName: "sparkle"
                title: qsTr("AI Tool Health")
                text: qsTr("Review storage and resource use from coding assistants")
            }
            Ability {
                iconName: "code"
                title: qsTr("Vibe Projects")
                text: qsTr("Find and analyze projects created with AI coding tools")
            }
            Ability {
                iconName: "broom"
                title: qsTr("Safe Cleanup")
                text: qsTr("Clear safety ratings help you clean with confidence")
            }
        }
    }

        Component {
        id: permissions

        PermissionsPage {
            permissionManager: onboarding.permissionManager
        }
    }

        Component {
        id: ready

        ColumnLayout {
            spacing: Theme.space3

            AppIcon {
                Layout.alignment: Qt.AlignHCenter
                Layout.bottomMargin: Theme.space2
                name: "check-circle"
                size: Math.round(64 * Theme.typeScale)
                color: Theme.safe
            }
            Title {
                text: qsTr("You're All Set!")
            }
            Subtitle {
                text: qsTr("Larkfold is ready to help you reclaim disk space")
            }
            Rectangle {
                objectName: "tips"
                Layout.fillWidth: true
                Layout.topMargin: Theme.space5
                implicitHeight: tips.implicitHeight + 2 * Theme.space5
                radius: Theme.radiusCard
                color: Theme.window
                border.width: 1
                border.color: Theme.hairline

                ColumnLayout {
                    id: tips
                    anchors.left: parent.left
                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.margins: Theme.space5
                    spacing: Theme.space3

                    AppLabel {
                        text: qsTr("Quick tips:")
                        font.weight: Font.DemiBold
                    }
                    Tip {
                        text: qsTr("Start with a disk scan to see your storage")
                    }
                    Tip {
                        text: qsTr("Use System Cleanup to remove junk files")
                    }
                    Tip {
                        text: qsTr("Check for duplicates to find wasted space")
                    }
                }
            }
        }
    }
    // qmllint enable unqualified
}
