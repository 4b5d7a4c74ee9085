import QtQuick
import QtQuick.Layouts

// Asks whether to stop a run before the window closes.
DialogPanel {
    id: root

    required property int currentJobNumber
    required property int jobCount

    signal stopConfirmed

    title: "Stop converting?"
    width: 380

    onAboutToShow: goOn.forceActiveFocus(Qt.TabFocusReason)

    contentItem: ColumnLayout {
        spacing: 0

        Accessible.role: Accessible.AlertMessage
        Accessible.name: root.title
        Accessible.description: explanation.text

        Text {
            Layout.fillWidth: true
            text: root.title
            font: Theme.headingFont
            color: Theme.labelColor
        }

        Text {
            id: explanation

            Layout.fillWidth: true
            Layout.topMargin: 8
            text: `File ${root.currentJobNumber} of ${root.jobCount} is being converted. Finished files stay in place; this file and those after it will not be converted.`
            wrapMode: Text.Wrap
            lineHeight: 1.15
            font: Theme.bodyFont
            color: Theme.secondaryLabelColor
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: 20
            spacing: 10

            Item {
                Layout.fillWidth: true
            }

            ActionButton {
                objectName: "stop"
                text: "Stop and Close"
                onClicked: {
                    root.close();
                    root.stopConfirmed();
                }
            }

            ActionButton {
                id: goOn

                objectName: "goOn"
                text: "Keep Converting"
                prominent: true
                onClicked: root.close()
            }
        }
    }
}
