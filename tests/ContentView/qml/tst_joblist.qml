import QtQuick
import QtTest
import Bleedwise.Window

Item {
    id: root

    width: 500
    height: 300

    ListModel {
        id: jobs
    }

    JobList {
        id: list

        anchors.fill: parent
        jobs: jobs
        selectedIndex: -1
        changeable: true
        onRemoveRequested: jobID => {
            for (let number = 0; number < jobs.count; ++number) {
                if (jobs.get(number).jobID === jobID)
                    jobs.remove(number);
            }
        }
    }

    SignalSpy {
        id: selections

        target: list
        signalName: "selectRequested"
    }
    SignalSpy {
        id: removals

        target: list
        signalName: "removeRequested"
    }

    TestCase {
        id: test

        readonly property Item view: findChild(list, "list")

        name: "JobList"
        when: windowShown

        function init() {
            jobs.clear();
            list.anchors.bottomMargin = 0;
            list.selectedIndex = -1;
            list.changeable = true;
            view.forceLayout();
            selections.clear();
            removals.clear();
        }

        function add(count) {
            for (let number = 0; number < count; ++number) {
                jobs.append({
                    jobID: `job ${jobs.count}`, fileName: `poster ${jobs.count}.pdf`, state: 0,
                    widthMM: "105", heightMM: "148", bleedMM: "3",
                    widthEdited: false, heightEdited: false, bleedEdited: false,
                    summary: "105×148 mm · 3 mm bleed", errorMessage: "", outputURL: "", isSelected: false, showsDivider: false
                });
            }
            view.forceLayout();
        }

        function row(number) {
            return view.itemAtIndex(number);
        }

        function test_showsItsJobsInOrder() {
            add(3);
            compare([row(0), row(1), row(2)].map(item => item.fileName), ["poster 0.pdf", "poster 1.pdf", "poster 2.pdf"]);
            verify(row(0).y < row(1).y && row(1).y < row(2).y);
        }

        function test_makesOnlyTheRowsInSight() {
            add(500);
            compare(row(499), null);
            verify(row(0) !== null);
        }

        function test_asksToSelectAClickedRow() {
            add(3);
            mouseClick(row(1), 200, 20);
            compare(selections.count, 1);
            compare(selections.signalArguments[0][0], "job 1");
        }

        function test_leavesTheSelectionAloneDuringARun() {
            add(3);
            list.changeable = false;
            mouseClick(row(1), 200, 20);
            compare(selections.count, 0);
        }

        function test_asksToRemoveARow() {
            add(3);
            mouseClick(findChild(row(2), "remove"));
            compare(removals.signalArguments[0][0], "job 2");
        }

        function test_keepsTheFocusWhenARowIsRemovedByKeyboard() {
            add(3);
            jobs.setProperty(1, "isSelected", true);
            findChild(row(1), "remove").forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Space);
            compare(removals.count, 1);
            verify(list.activeFocus && list.visualFocus);
        }

        function test_bringsTheSelectedRowIntoSight() {
            add(500);
            list.selectedIndex = 499;
            tryVerify(() => {
                const row = test.row(499);
                return row !== null && row.y + row.height <= test.view.contentY + test.view.height;
            });
        }

        function test_keepsTheSelectedRowInSightWhenItGetsLower() {
            add(500);
            list.selectedIndex = 400;
            tryVerify(() => row(400) && row(400).y + row(400).height <= view.contentY + view.height);
            list.anchors.bottomMargin = 150;
            verify(row(400).y + row(400).height <= view.contentY + view.height);
            list.anchors.bottomMargin = 0;
        }

        function test_staysWhereTheUserHasScrolledToWhenItGetsLower() {
            add(500);
            list.selectedIndex = 400;
            tryVerify(() => row(400));
            view.positionViewAtBeginning();
            const before = view.contentY;
            list.anchors.bottomMargin = 150;
            compare(view.contentY, before);
            list.anchors.bottomMargin = 0;
        }

        function test_bringsTheSelectedRowOutFromUnderTheStrip() {
            list.coveredHeight = 38;
            add(500);
            list.selectedIndex = 499;
            tryVerify(() => test.row(499) !== null);
            list.selectedIndex = 480;
            tryVerify(() => test.row(480) !== null && test.row(480).y >= test.view.contentY + 38);
            list.coveredHeight = 0;
        }

        function test_showsTheSelectedRowsGroundAlone() {
            add(2);
            jobs.setProperty(0, "isSelected", true);
            verify(row(0).selected);
            verify(!row(1).selected);
        }

        function test_drawsADividerWhereTheModelSaysSo() {
            add(2);
            jobs.setProperty(0, "showsDivider", true);
            verify(findChild(row(0), "divider").color.a > 0);
            compare(findChild(row(1), "divider").color.a, 0);
        }

        function test_rowsStayInPlaceWhenTheirDividersGo() {
            add(3);
            jobs.setProperty(0, "showsDivider", true);
            const before = row(1).y;
            jobs.setProperty(0, "showsDivider", false);
            view.forceLayout();
            compare(row(1).y, before);
        }

        function test_onlyTheSelectedRowsButtonsAreTabStops() {
            add(2);
            jobs.setProperty(0, "isSelected", true);
            compare(findChild(row(0), "remove").focusPolicy, Qt.TabFocus);
            compare(findChild(row(1), "remove").focusPolicy, Qt.NoFocus);
        }

        function test_aRemovedRowFadesOut() {
            Theme.reducedMotion = false;
            add(3);
            const leaving = row(1);
            jobs.remove(1);
            tryVerify(() => leaving.opacity < 1);
            Theme.reducedMotion = Qt.binding(() => DesktopAppearance.reducedMotion);
        }
    }
}
