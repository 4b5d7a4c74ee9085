import QtQuick
import Bleedwise.Window

// What the run has come to, in a few words at the right.
Item {
    id: root

    required property bool isConverting
    required property int currentJobNumber
    required property int jobCount
    required property bool allCompleted
    required property bool anyFailed
    // Empty without one.
    required property string statusMessage

    readonly property string text: root.isConverting ? `Converting ${root.currentJobNumber} of ${root.jobCount}`
        : root.allCompleted ? "Completed"
        : root.anyFailed ? "Some files need attention"
        : root.statusMessage
    readonly property color color: root.isConverting ? Theme.secondaryLabelColor
        : root.allCompleted ? Theme.greenColor
        : root.anyFailed ? Theme.redColor
        : Theme.secondaryLabelColor

    implicitWidth: parts.implicitWidth
    implicitHeight: Math.max(16, words.implicitHeight)

    Accessible.role: Accessible.StatusBar
    Accessible.name: root.text

    Row {
        id: parts

        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 7

        Loader {
            anchors.verticalCenter: parent.verticalCenter
            active: root.isConverting
            visible: active
            sourceComponent: ProgressSpinner {
                objectName: "spinner"
                width: 16
                height: 16
            }
        }

        SymbolIcon {
            objectName: "symbol"
            anchors.verticalCenter: parent.verticalCenter
            width: 16
            height: 16
            visible: !root.isConverting && (root.allCompleted || root.anyFailed)
            symbol: root.allCompleted ? "checkmark-circle-fill" : "exclamation-circle-fill"
            color: root.color
        }

        Text {
            id: words

            objectName: "words"
            anchors.verticalCenter: parent.verticalCenter
            width: Math.min(Math.ceil(implicitWidth), Math.max(0, root.width - x))
            text: root.text
            textFormat: Text.PlainText
            elide: Text.ElideRight
            font: root.isConverting ? Theme.bodyFont : Theme.calloutFont
            color: root.color
            Accessible.ignored: true
        }
    }
}
