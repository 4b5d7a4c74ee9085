import QtQuick
import QtTest
import Bleedwise.Window

Item {
    id: root

    width: 100
    height: 100

    Component {
        id: windowComponent

        Window {
            id: host

            property alias strip: strip

            width: 500
            height: 300
            visible: true

            TitleStrip {
                id: strip

                width: parent.width
                window: host
            }
        }
    }

    SignalSpy {
        id: checks

        signalName: "updateCheckRequested"
    }

    TestCase {
        id: test

        property TitleStrip strip: null

        name: "TitleStrip"
        when: windowShown

        function init() {
            Theme.reducedMotion = true;
            const host = createTemporaryObject(windowComponent, root);
            tryVerify(() => host.active);
            test.strip = host.strip;
            checks.target = test.strip;
            checks.clear();
        }

        function openMenu() {
            mouseClick(findChild(test.strip, "applicationMenu"));
            const menu = findChild(test.strip, "menu");
            tryVerify(() => menu.opened);
            return menu;
        }

        function entries(menu) {
            const texts = [];
            for (let i = 0; i < menu.count; ++i)
                texts.push(menu.itemAt(i).text ?? "—");
            return texts;
        }

        function test_offersNoUpdatesWhereNothingChecks() {
            compare(entries(openMenu()), ["About Bleedwise", "—", "Quit"]);
        }

        function test_offersToCheckForUpdatesDirectlyBelowAbout() {
            test.strip.checksForUpdates = true;
            compare(entries(openMenu()), ["About Bleedwise", "Check for Updates…", "—", "Quit"]);
        }

        function test_asksForACheck() {
            test.strip.checksForUpdates = true;
            mouseClick(openMenu().itemAt(1));
            compare(checks.count, 1);
        }
    }
}
