import QtQuick
import QtQuick.Layouts

// All that the window shows below its strip, and the keys that work everywhere in it.
FocusScope {
    id: root

    // What is shown and done; see the class ContentView.
    required property var viewModel

    // The height of what lies over the top of the content.
    property int coveredHeight: 0

    // The user wants to choose files.
    signal chooserRequested

    readonly property int minimumWidth: Math.ceil(controls.implicitWidth)

    focus: true

    Accessible.role: Accessible.Pane
    Accessible.name: "Bleedwise"

    function releaseFocus() {
        ground.forceActiveFocus();
    }

    Keys.onPressed: event => {
        if (event.modifiers & ~Qt.KeypadModifier)
            return;
        if (event.key === Qt.Key_Delete)
            root.viewModel.removeSelectedJob();
        else if (event.key === Qt.Key_Up)
            root.viewModel.selectPreviousJob();
        else if (event.key === Qt.Key_Down)
            root.viewModel.selectNextJob();
        else
            return;
        event.accepted = true;
    }

    Connections {
        target: root.viewModel

        function onFocusedFieldChanged() {
            if (root.viewModel.focusedField === -1 && (widthField.editing || heightField.editing || bleedField.editing))
                root.releaseFocus();
        }

        function onJobCountChanged() {
            // An empty list cannot keep the focus.
            if (root.viewModel.jobCount === 0 && files.holdsFocus)
                root.releaseFocus();
        }
    }

    // Where the focus rests when no control has it; a click beside the controls brings it here.
    Item {
        id: ground

        anchors.fill: parent
        focus: true

        TapHandler {
            onTapped: root.releaseFocus()
        }
    }

    DropArea {
        objectName: "dropArea"
        anchors.fill: parent
        onEntered: drag => {
            if (root.viewModel.isConverting || !drag.hasUrls)
                drag.accepted = false;
            else
                root.viewModel.isTargeted = true;
        }
        onExited: root.viewModel.isTargeted = false
        onDropped: drop => {
            root.viewModel.isTargeted = false;
            drop.accepted = root.viewModel.handleDrop(drop.urls);
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        Item {
            id: fileArea

            Layout.fillWidth: true
            Layout.fillHeight: true

            PlusButton {
                objectName: "plus"
                anchors.centerIn: parent
                visible: root.viewModel.jobCount === 0
                enabled: !root.viewModel.isConverting
                plusHovered: root.viewModel.plusHovered
                onPointerEntered: root.viewModel.plusHovered = true
                onPointerLeft: root.viewModel.plusHovered = false
                onClicked: root.chooserRequested()
            }

            JobList {
                id: files

                objectName: "files"
                anchors.fill: parent
                visible: root.viewModel.jobCount > 0
                coveredHeight: root.coveredHeight
                jobs: root.viewModel.jobs
                selectedIndex: root.viewModel.jobs.selectedRow
                changeable: !root.viewModel.isConverting
                onSelectRequested: jobID => root.viewModel.selectJob(jobID)
                onRevealRequested: jobID => root.viewModel.revealOutput(jobID)
                onRemoveRequested: jobID => root.viewModel.removeJob(jobID)
            }
        }

        Divider {
            Layout.fillWidth: true
        }

        ColumnLayout {
            id: controls

            Layout.fillWidth: true
            Layout.margins: 20
            spacing: 14

            RowLayout {
                Layout.fillWidth: true
                spacing: 14

                SettingField {
                    id: widthField

                    objectName: "width"
                    Layout.alignment: Qt.AlignBottom
                    title: "Trim width (mm)"
                    value: root.viewModel.widthBinding
                    onEdited: text => root.viewModel.widthBinding = text
                    onFinished: root.viewModel.focusedField = -1
                    onEditingChanged: root.noteFocus(0, widthField.editing)
                }

                SettingField {
                    id: heightField

                    objectName: "height"
                    Layout.alignment: Qt.AlignBottom
                    title: "Trim height (mm)"
                    value: root.viewModel.heightBinding
                    onEdited: text => root.viewModel.heightBinding = text
                    onFinished: root.viewModel.focusedField = -1
                    onEditingChanged: root.noteFocus(1, heightField.editing)
                }

                SettingField {
                    id: bleedField

                    objectName: "bleed"
                    Layout.alignment: Qt.AlignBottom
                    title: "Bleed (mm)"
                    value: root.viewModel.bleedBinding
                    onEdited: text => root.viewModel.bleedBinding = text
                    onFinished: root.viewModel.focusedField = -1
                    onEditingChanged: root.noteFocus(2, bleedField.editing)
                }

                ConvertButton {
                    objectName: "convert"
                    Layout.alignment: Qt.AlignBottom
                    enabled: root.viewModel.canConvert
                    onClicked: root.viewModel.convert()
                }
            }

            RowLayout {
                Layout.fillWidth: true
                spacing: 26

                CheckBox {
                    id: includesBleed

                    objectName: "includesBleed"
                    Layout.alignment: Qt.AlignVCenter
                    text: "PDF already includes bleed"
                    checked: root.viewModel.sourceIncludesBleed
                    onToggled: {
                        root.viewModel.sourceIncludesBleed = includesBleed.checked;
                        includesBleed.checked = Qt.binding(() => root.viewModel.sourceIncludesBleed);
                    }
                }

                ModePicker {
                    objectName: "mode"
                    Layout.alignment: Qt.AlignVCenter
                    segments: root.viewModel.conversionModeNames
                    currentIndex: root.viewModel.conversionModeBinding
                    onChosen: index => root.viewModel.conversionModeBinding = index
                }

                RunStatus {
                    objectName: "status"
                    Layout.fillWidth: true
                    Layout.alignment: Qt.AlignVCenter
                    isConverting: root.viewModel.isConverting
                    currentJobNumber: root.viewModel.currentJobNumber
                    jobCount: root.viewModel.jobCount
                    allCompleted: root.viewModel.allCompleted
                    anyFailed: root.viewModel.anyFailed
                    statusMessage: root.viewModel.statusMessage
                }
            }

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 0

                ConsoleHeader {
                    objectName: "consoleHeader"
                    Layout.fillWidth: true
                    consoleExpanded: root.viewModel.consoleExpanded
                    showingDetails: root.viewModel.showingDetails
                    ghostscriptPath: root.viewModel.ghostscriptPath
                    onConsoleToggled: root.viewModel.consoleExpanded = !root.viewModel.consoleExpanded
                    onDetailsToggled: root.viewModel.showingDetails = !root.viewModel.showingDetails
                    onDetailsClosed: root.viewModel.showingDetails = false
                }

                // The console comes up from its lower edge, and the list above gives way.
                Item {
                    id: drawer

                    property real openness: root.viewModel.consoleExpanded ? 1 : 0

                    Layout.fillWidth: true
                    implicitHeight: drawer.openness * (8 + log.implicitHeight)
                    clip: drawer.openness < 1
                    visible: drawer.openness > 0

                    Behavior on openness {
                        NumberAnimation { duration: Theme.disclosureDuration; easing.type: Easing.InOutQuad }
                    }

                    LazyLoader {
                        id: log

                        y: 8
                        width: parent.width
                        wanted: root.viewModel.consoleExpanded
                        sourceComponent: ConsoleLog {
                            objectName: "log"
                            opacity: drawer.openness
                            lines: root.viewModel.logLines
                        }
                    }
                }
            }
        }
    }

    function noteFocus(field: int, focused: bool) {
        if (focused)
            root.viewModel.focusedField = field;
        else if (root.viewModel.focusedField === field)
            root.viewModel.focusedField = -1;
    }
}
