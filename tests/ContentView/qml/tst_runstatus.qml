import QtQuick
import QtTest
import Bleedwise.Window

Item {
    id: root

    width: 400
    height: 40

    RunStatus {
        id: status

        anchors.fill: parent
        isConverting: false
        currentJobNumber: 0
        jobCount: 0
        allCompleted: false
        anyFailed: false
        statusMessage: ""
    }

    TestCase {
        name: "RunStatus"
        when: windowShown

        function test_saysWhatTheRunHasComeTo_data() {
            return [
                { tag: "nothing", converting: false, completed: false, failed: false, message: "", text: "", symbol: "" },
                { tag: "a notice", converting: false, completed: false, failed: false, message: "A notice.", text: "A notice.", symbol: "" },
                { tag: "a run", converting: true, completed: false, failed: false, message: "", text: "Converting 2 of 5", symbol: "" },
                { tag: "a run before all else", converting: true, completed: true, failed: true, message: "A notice.", text: "Converting 2 of 5", symbol: "" },
                { tag: "success", converting: false, completed: true, failed: false, message: "A notice.", text: "Completed", symbol: "checkmark-circle-fill" },
                { tag: "a failure", converting: false, completed: false, failed: true, message: "A notice.", text: "Some files need attention", symbol: "exclamation-circle-fill" }
            ];
        }

        function test_saysWhatTheRunHasComeTo(data) {
            status.currentJobNumber = 2;
            status.jobCount = 5;
            status.isConverting = data.converting;
            status.allCompleted = data.completed;
            status.anyFailed = data.failed;
            status.statusMessage = data.message;
            compare(findChild(status, "words").text, data.text);
            compare(status.Accessible.name, data.text);
            const symbol = findChild(status, "symbol");
            compare(symbol.visible ? symbol.symbol : "", data.symbol);
            tryVerify(() => (findChild(status, "spinner") !== null) === data.converting);
        }

        function test_writesLargeNumbersWithoutSeparators() {
            status.isConverting = true;
            status.currentJobNumber = 1234;
            status.jobCount = 56789;
            compare(findChild(status, "words").text, "Converting 1234 of 56789");
        }

        function test_staysInItsPlaceWithALongNotice() {
            status.isConverting = false;
            status.allCompleted = false;
            status.anyFailed = false;
            status.statusMessage = "a long notice ".repeat(50);
            const words = findChild(status, "words");
            verify(words.truncated);
            verify(words.mapToItem(status, 0, 0).x >= 0);
        }
    }
}
