pragma Singleton
import QtQuick
import Bleedwise.Window

// The window's colours, fonts, measures and durations, as the desktop wants them.
//
// Lengths are in device-independent pixels, durations in milliseconds. Every text colour stands at
// least 4.5 to 1 against the grounds that it is used on, every symbol and outline 3 to 1.
QtObject {
    id: root

    // What follows the desktop; assign to see the window otherwise.
    property bool dark: DesktopAppearance.dark
    property bool reducedMotion: DesktopAppearance.reducedMotion
    property real fontScale: DesktopAppearance.fontScale

    // Grounds
    readonly property color windowColor: root.dark ? "#1f2024" : "#f6f6f8"
    readonly property color fieldColor: root.dark ? "#2a2b30" : "#ffffff"
    readonly property color popoverColor: root.dark ? "#2b2c31" : "#ffffff"
    readonly property color helpColor: root.dark ? "#3d3f46" : "#2c2d31"

    // Texts and symbols
    readonly property color labelColor: root.dark ? "#f2f3f5" : "#1b1c1f"
    readonly property color secondaryLabelColor: root.dark ? "#a9adb6" : "#5c6068"
    readonly property color tertiaryLabelColor: root.dark ? "#7e838d" : "#7a7e87"
    readonly property color disabledLabelColor: root.dark ? "#686c75" : "#a3a7af"
    readonly property color helpLabelColor: "#ffffff"
    readonly property color greenColor: root.dark ? "#4cc267" : "#17783a"
    readonly property color redColor: root.dark ? "#ff7a72" : "#bd2027"
    readonly property color yellowColor: root.dark ? "#b98a00" : "#ffcf0d"
    readonly property color orangeColor: root.dark ? "#f09a4a" : "#bf5b00"

    // Accents
    readonly property color accentColor: root.dark ? "#5b9bff" : "#1463d8"
    readonly property color prominentColor: root.dark ? "#2a6be0" : "#1463d8"
    readonly property color prominentLabelColor: "#ffffff"
    readonly property color selectionColor: root.translucent(root.accentColor, 0.12)
    readonly property color flagColor: root.translucent(root.yellowColor, 0.55)
    readonly property color closeColor: root.dark ? "#d0343a" : "#d8343a"

    // Lines and veils, drawn over any ground
    readonly property color dividerColor: root.translucent(root.labelColor, root.dark ? 0.14 : 0.12)
    readonly property color outlineColor: root.dark ? "#74787f" : "#8b8f97"
    readonly property color quietOutlineColor: root.translucent(root.labelColor, root.dark ? 0.16 : 0.14)
    readonly property color hoverColor: root.translucent(root.labelColor, root.dark ? 0.10 : 0.07)
    readonly property color pressedColor: root.translucent(root.labelColor, root.dark ? 0.17 : 0.13)
    readonly property color trackColor: root.translucent(root.labelColor, root.dark ? 0.09 : 0.07)
    readonly property color thumbColor: root.dark ? "#51545c" : "#ffffff"
    readonly property color consoleColor: root.translucent(root.secondaryLabelColor, 0.06)
    readonly property color scrollBarColor: root.translucent(root.labelColor, 0.35)
    readonly property color dimmingColor: Qt.rgba(0, 0, 0, root.dark ? 0.5 : 0.28)
    readonly property color shadowColor: Qt.rgba(0, 0, 0, root.dark ? 0.1 : 0.035)

    // Fonts
    readonly property font titleFont: Qt.font({ pixelSize: root.scaled(15) })
    readonly property font bodyFont: Qt.font({ pixelSize: root.scaled(13) })
    readonly property font calloutFont: Qt.font({ pixelSize: root.scaled(12) })
    readonly property font captionFont: Qt.font({ pixelSize: root.scaled(10) })
    readonly property font consoleFont: Qt.font({
        family: DesktopAppearance.fixedFontFamily,
        pixelSize: root.scaled(10)
    })
    readonly property font buttonFont: Qt.font({ pixelSize: root.scaled(13), weight: Font.DemiBold })
    readonly property font headingFont: Qt.font({ pixelSize: root.scaled(15), weight: Font.DemiBold })

    // Measures
    readonly property int stripHeight: 38
    readonly property int controlHeight: root.scaled(34)
    readonly property int controlRadius: 7
    readonly property int smallControlRadius: 6

    // Durations; without motion, changes are immediate
    readonly property int hoverDuration: root.lasting(120)
    readonly property int removalDuration: root.lasting(180)
    readonly property int disclosureDuration: root.lasting(200)

    function translucent(color: color, opacity: real): color {
        return Qt.rgba(color.r, color.g, color.b, opacity);
    }

    function scaled(length: real): int {
        return Math.round(length * root.fontScale);
    }

    function lasting(duration: int): int {
        return root.reducedMotion ? 0 : duration;
    }
}
