import QtQuick
import QtQuick.Layouts

// What the updater has to say or to ask, while the window goes on beneath it.
DialogPanel {
    id: root

    // See the class Updater.
    required property var updater

    title: root.updater.title
    width: Math.max(460, row.implicitWidth + root.leftPadding + root.rightPadding)
    modal: false
    // What nobody asked for must not take keys that are meant for the window.
    focus: root.updater.askedFor

    onAboutToShow: root.answer()

    // The panel's content changes while it is open, and with it its buttons.
    Connections {
        target: root.updater

        function onPanelChanged() {
            Qt.callLater(root.answer);
        }
    }

    // Whether what is shown has been asked for.
    property bool hasAnswered: false

    // Gives the keyboard to what the user asked for, unless it has gone elsewhere since.
    function answer() {
        if (root.activeFocus || (root.updater.askedFor && !root.hasAnswered))
            root.focusLikeliest();
        root.hasAnswered = root.updater.askedFor;
    }

    closePolicy: DialogPanel.NoAutoClose

    function focusLikeliest() {
        buttons.itemAt(buttons.count - 1)?.forceActiveFocus(Qt.TabFocusReason);
    }

    contentItem: ColumnLayout {
        spacing: 0

        Accessible.role: Accessible.Dialog
        Accessible.name: root.title
        Accessible.description: message.text

        // Escape decides nothing. No shortcut, which a menu that is still fading would keep back.
        Keys.onEscapePressed: root.updater.dismiss()

        Text {
            Layout.fillWidth: true
            text: root.title
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            font: Theme.headingFont
            color: Theme.labelColor
        }

        Text {
            id: message

            objectName: "message"
            Layout.fillWidth: true
            Layout.topMargin: 8
            visible: message.text !== ""
            text: root.updater.message
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            lineHeight: 1.15
            font: Theme.bodyFont
            color: Theme.secondaryLabelColor
        }

        ReleaseNotesView {
            objectName: "notes"
            Layout.fillWidth: true
            Layout.preferredHeight: Math.min(Theme.scaled(220), implicitHeight)
            Layout.topMargin: 14
            visible: root.updater.notes !== ""
            notes: root.updater.notes
            onLinkActivated: address => root.updater.openLink(address)
        }

        ProgressBar {
            objectName: "progress"
            Layout.fillWidth: true
            Layout.topMargin: 16
            visible: root.updater.busy
            indeterminate: root.updater.progress < 0
            value: root.updater.progress
        }

        Text {
            objectName: "progressText"
            Layout.fillWidth: true
            Layout.topMargin: 6
            visible: root.updater.busy && text !== ""
            text: root.updater.progressText
            font: Theme.calloutFont
            color: Theme.secondaryLabelColor
        }

        CheckBox {
            id: automatic

            objectName: "automatic"
            Layout.topMargin: 12
            visible: root.updater.offersAutomaticChecks
            text: "Automatically check for updates"
            checked: root.updater.checksAutomatically
            onToggled: {
                root.updater.checksAutomatically = automatic.checked;
                automatic.checked = Qt.binding(() => root.updater.checksAutomatically);
            }
        }

        RowLayout {
            id: row

            Layout.fillWidth: true
            Layout.topMargin: 20
            spacing: 10

            Item {
                Layout.fillWidth: true
            }

            Repeater {
                id: buttons

                model: root.updater.actions

                ActionButton {
                    required property var modelData

                    objectName: modelData.name
                    text: modelData.text
                    prominent: modelData.prominent
                    onClicked: root.updater.perform(modelData.name)
                }
            }
        }
    }
}
