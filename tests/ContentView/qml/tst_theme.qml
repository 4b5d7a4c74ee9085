import QtQuick
import QtTest
import Bleedwise.Window

// Colours that stand on each other, by the rules of WCAG 2.1: 4.5 to 1 for text (1.4.3), 3 to 1 for
// symbols and outlines (1.4.11), at level AA. Disabled controls are exempt.
TestCase {
    id: root

    name: "Theme"

    function cleanup() {
        Theme.dark = Qt.binding(() => DesktopAppearance.dark);
        Theme.fontScale = Qt.binding(() => DesktopAppearance.fontScale);
        Theme.reducedMotion = Qt.binding(() => DesktopAppearance.reducedMotion);
    }

    // A colour with its veil over an opaque ground.
    function over(color, ground) {
        const mix = (above, below) => above * color.a + below * (1 - color.a);
        return Qt.rgba(mix(color.r, ground.r), mix(color.g, ground.g), mix(color.b, ground.b), 1);
    }

    function luminance(color) {
        const linear = part => part <= 0.04045 ? part / 12.92 : Math.pow((part + 0.055) / 1.055, 2.4);
        return 0.2126 * linear(color.r) + 0.7152 * linear(color.g) + 0.0722 * linear(color.b);
    }

    function contrast(one, other) {
        const a = root.luminance(one);
        const b = root.luminance(other);
        return (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    }

    function test_contrastIsThatOfTheRecommendation_data() {
        return [
            { tag: "black on white", one: "#000000", other: "#ffffff", contrast: 21 },
            { tag: "the same", one: "#777777", other: "#777777", contrast: 1 },
            { tag: "grey on white", one: "#767676", other: "#ffffff", contrast: 4.54 }
        ];
    }

    function test_contrastIsThatOfTheRecommendation(data) {
        fuzzyCompare(root.contrast(Qt.color(data.one), Qt.color(data.other)), data.contrast, 0.01);
    }

    // The grounds on which the window's texts lie.
    function grounds() {
        const window = Theme.windowColor;
        return {
            "window": window,
            "selected row": root.over(Theme.selectionColor, window),
            "console": root.over(Theme.consoleColor, window),
            "popover": Theme.popoverColor,
            "field": Theme.fieldColor,
            "track": root.over(Theme.trackColor, window),
            "thumb": Theme.thumbColor,
            "hovered": root.over(Theme.hoverColor, window),
            "pressed": root.over(Theme.pressedColor, window),
            "flag": root.over(Theme.flagColor, window),
            "flag in the selected row": root.over(Theme.flagColor, root.over(Theme.selectionColor, window)),
            "window below a hovering drag": root.over(Qt.rgba(Theme.accentColor.r, Theme.accentColor.g, Theme.accentColor.b, 0.06), window),
            "prominent": Theme.prominentColor,
            "pressed prominent": Qt.darker(Theme.prominentColor, 1.18),
            "help": Theme.helpColor,
            "close": Theme.closeColor
        };
    }

    function pairs() {
        const text = [
            ["labelColor", ["window", "selected row", "console", "popover", "field", "track", "thumb", "hovered", "pressed", "flag", "flag in the selected row", "window below a hovering drag"]],
            ["secondaryLabelColor", ["window", "selected row", "console", "popover", "track", "hovered", "window below a hovering drag"]],
            ["greenColor", ["window", "popover"]],
            ["redColor", ["window", "selected row"]],
            ["prominentLabelColor", ["prominent", "pressed prominent"]],
            ["helpLabelColor", ["help"]]
        ];
        const symbols = [
            ["tertiaryLabelColor", ["window", "selected row"]],
            ["secondaryLabelColor", ["window", "selected row", "hovered"]],
            ["greenColor", ["window", "selected row", "popover"]],
            ["redColor", ["window", "selected row"]],
            ["orangeColor", ["popover"]],
            ["accentColor", ["window", "selected row", "popover", "field", "console"]],
            ["outlineColor", ["window", "field"]],
            ["helpLabelColor", ["close"]]
        ];
        const rows = [];
        for (const dark of [false, true]) {
            for (const [list, least, kind] of [[text, 4.5, "text"], [symbols, 3, "symbol"]]) {
                for (const [color, names] of list) {
                    for (const ground of names)
                        rows.push({ tag: `${dark ? "dark" : "light"}: ${color} as a ${kind} on ${ground}`, dark: dark, color: color, ground: ground, least: least });
                }
            }
        }
        return rows;
    }

    function test_colorsCanBeToldApart_data() {
        return root.pairs();
    }

    function test_colorsCanBeToldApart(data) {
        Theme.dark = data.dark;
        const ratio = root.contrast(Theme[data.color], root.grounds()[data.ground]);
        verify(ratio >= data.least, `${ratio.toFixed(2)} to 1 is less than ${data.least}`);
    }

    function test_fontsHaveTheirSizes_data() {
        return [
            { tag: "title", font: "titleFont", size: 15 },
            { tag: "body", font: "bodyFont", size: 13 },
            { tag: "callout", font: "calloutFont", size: 12 },
            { tag: "caption", font: "captionFont", size: 10 },
            { tag: "console", font: "consoleFont", size: 10 }
        ];
    }

    function test_fontsHaveTheirSizes(data) {
        Theme.fontScale = 1;
        compare(Theme[data.font].pixelSize, data.size);
    }

    function test_fontsGrowWithTheDesktops() {
        Theme.fontScale = 1.5;
        compare(Theme.bodyFont.pixelSize, 20);
    }

    function test_changesAreImmediateWithoutMotion_data() {
        return [{ tag: "hoverDuration" }, { tag: "removalDuration" }, { tag: "disclosureDuration" }];
    }

    function test_changesAreImmediateWithoutMotion(data) {
        Theme.reducedMotion = true;
        compare(Theme[data.tag], 0);
    }

    function test_changesTakeTheirTime_data() {
        return [
            { tag: "hover", duration: "hoverDuration", milliseconds: 120 },
            { tag: "removal", duration: "removalDuration", milliseconds: 180 },
            { tag: "disclosure", duration: "disclosureDuration", milliseconds: 200 }
        ];
    }

    function test_changesTakeTheirTime(data) {
        Theme.reducedMotion = false;
        compare(Theme[data.duration], data.milliseconds);
    }
}
