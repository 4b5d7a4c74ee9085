import QtQuick
import QtTest
import Bleedwise.Window

Item {
    width: 300
    height: 200

    HelpTip {
        id: help

        text: "Remove"
        shown: false
        delay: 1
    }

    TestCase {
        name: "HelpTip"
        when: windowShown

        readonly property int usualDuration: 10000

        function init() {
            help.duration = usualDuration;
        }

        function cleanup() {
            help.shown = false;
        }

        function tip() {
            return findChild(help, "tip");
        }

        function test_appearsWhenItIsWanted() {
            help.shown = true;
            tryCompare(tip(), "active", true);
        }

        function test_goesWithWhatWantsIt() {
            help.shown = true;
            tryCompare(tip(), "active", true);
            help.shown = false;
            compare(tip().active, false);
        }

        function test_goesByItself() {
            help.shown = true;
            tryCompare(tip(), "active", true);
            help.duration = 1;
            tryCompare(tip(), "active", false);
        }

        function test_appearsAgainWhenItIsWantedAgain() {
            help.shown = true;
            tryCompare(tip(), "active", true);
            help.duration = 1;
            tryCompare(tip(), "active", false);
            help.duration = usualDuration;
            help.shown = false;
            help.shown = true;
            tryCompare(tip(), "active", true);
        }
    }
}
