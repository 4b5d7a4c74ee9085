import QtQuick
import Bleedwise.Window

// One queued file: how far it is, its name, its sizes or its error, and what can be done with it.
Item {
    id: root

    // In the order of the view model's states.
    enum State { Pending, Converting, Completed, Failed }

    required property string fileName
    required property int jobState
    required property string widthMM
    required property string heightMM
    required property string bleedMM
    required property bool widthEdited
    required property bool heightEdited
    required property bool bleedEdited
    // The sizes or the error in words.
    required property string summary
    required property string errorMessage
    required property bool hasOutput
    required property bool selected
    required property bool dividerShown

    property bool focusShown: false
    property bool removable: true

    signal selectRequested
    signal revealRequested
    signal removeRequested

    // An error may be very long. Its first line says what failed, and the last of what Ghostscript said why: a
    // row shows these, the help and what is spoken more of it.
    readonly property int longestError: 1000
    readonly property int errorRows: 4
    readonly property var errorLines: root.firstAndLast(root.errorMessage.trim(), root.errorRows - 1)
    readonly property bool failed: root.errorMessage !== ""
    readonly property string stateName: ["Pending", "Converting", "Completed", "Failed"][root.jobState] ?? ""

    implicitHeight: ground.height + divider.height

    Accessible.role: Accessible.ListItem
    Accessible.name: root.fileName
    Accessible.description: root.stateName + ". " + root.spokenSummary()
    Accessible.selectable: true
    Accessible.selected: root.selected
    Accessible.focusable: true
    Accessible.focused: root.focusShown && root.selected
    Accessible.onPressAction: root.selectRequested()

    function spokenSummary(): string {
        const edited = [];
        if (root.widthEdited)
            edited.push("width");
        if (root.heightEdited)
            edited.push("height");
        if (root.bleedEdited)
            edited.push("bleed");
        const words = root.shortened(root.summary, root.longestError);
        return root.failed || edited.length === 0 ? words : `${words}. Manually edited: ${edited.join(", ")}`;
    }

    // Without its middle when it is longer.
    function shortened(text: string, longest: int): string {
        const half = longest / 2;
        return text.length <= longest ? text : `${text.slice(0, half)} … ${text.slice(-half)}`;
    }

    // The first line of a text, and its last ones, as many as these; marked where some are left out.
    function firstAndLast(text: string, lastCount: int): var {
        const firstEnd = text.indexOf("\n");
        if (firstEnd < 0)
            return [text.slice(0, root.longestError)];
        const last = [];
        let end = text.length;
        while (last.length < lastCount && end > firstEnd) {
            const start = text.lastIndexOf("\n", end - 1);
            last.unshift(text.slice(start + 1, end).slice(0, root.longestError));
            end = start;
        }
        return [text.slice(0, firstEnd).slice(0, root.longestError) + (end > firstEnd ? " …" : ""), ...last];
    }

    // The error as a row of this width has room for it: the last line comes before those above it.
    function shownError(width: real): string {
        const [first, ...last] = root.errorLines;
        // Words that are wrapped leave some of the width unused.
        const rows = line => {
            const advance = captionMetrics.advanceWidth(line);
            return advance <= width ? 1 : Math.ceil(1.1 * advance / width);
        };
        let count = rows(first);
        let kept = last.length;
        while (kept > 0 && (kept === last.length || count + rows(last[kept - 1]) <= root.errorRows))
            count += rows(last[--kept]);
        const mark = kept > 0 && !first.endsWith(" …") ? " …" : "";
        return [first + mark, ...last.slice(kept)].join("\n");
    }

    FontMetrics {
        id: captionMetrics

        font: Theme.captionFont
    }

    // A mouse selects and never drags the list; a finger may do both.
    TapHandler {
        acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
        gesturePolicy: TapHandler.ReleaseWithinBounds
        grabPermissions: PointerHandler.CanTakeOverFromAnything
        onTapped: root.selectRequested()
    }

    TapHandler {
        acceptedDevices: PointerDevice.TouchScreen | PointerDevice.Stylus
        onTapped: root.selectRequested()
    }

    Rectangle {
        id: ground

        x: 4
        width: root.width - 8
        height: lines.height + 16
        radius: 6
        color: root.selected ? Theme.selectionColor : "transparent"

        FocusRing {
            shown: root.focusShown && root.selected
            distance: 0
            radius: ground.radius
        }

        Item {
            id: status

            x: 8
            anchors.verticalCenter: parent.verticalCenter
            width: 18
            height: 18

            SymbolIcon {
                anchors.centerIn: parent
                visible: root.jobState !== JobRow.State.Converting
                symbol: root.jobState === JobRow.State.Completed ? "checkmark-circle-fill"
                    : root.jobState === JobRow.State.Failed ? "cross-circle-fill" : "circle"
                color: root.jobState === JobRow.State.Completed ? Theme.greenColor
                    : root.jobState === JobRow.State.Failed ? Theme.redColor : Theme.tertiaryLabelColor
            }

            Loader {
                anchors.centerIn: parent
                active: root.jobState === JobRow.State.Converting
                sourceComponent: ProgressSpinner {}
            }
        }

        Column {
            id: lines

            anchors.left: status.right
            anchors.leftMargin: 10
            anchors.right: buttons.left
            anchors.rightMargin: 10 - buttons.around
            anchors.verticalCenter: parent.verticalCenter
            spacing: 3

            Text {
                id: name

                objectName: "name"
                width: Math.min(implicitWidth, parent.width)
                text: root.fileName
                textFormat: Text.PlainText
                elide: Text.ElideMiddle
                maximumLineCount: 1
                font: Theme.bodyFont
                color: Theme.labelColor
                Accessible.ignored: true

                HoverHandler {
                    id: nameHover

                    enabled: name.truncated
                }

                HelpTip {
                    text: root.fileName
                    shown: name.truncated && nameHover.hovered
                }
            }

            Row {
                objectName: "summary"
                visible: !root.failed
                spacing: 3

                SizeValue {
                    objectName: "width"
                    value: root.widthMM
                    edited: root.widthEdited
                }
                SummaryWord {
                    text: "×"
                }
                SizeValue {
                    objectName: "height"
                    value: root.heightMM
                    edited: root.heightEdited
                }
                SummaryWord {
                    text: "mm"
                }
                SummaryWord {
                    text: "·"
                }
                SizeValue {
                    objectName: "bleed"
                    value: root.bleedMM
                    edited: root.bleedEdited
                }
                SummaryWord {
                    text: "mm bleed"
                }
            }

            Text {
                objectName: "error"
                width: parent.width
                topPadding: 1
                bottomPadding: 1
                visible: root.failed
                text: root.failed && width > 0 ? root.shownError(width) : ""
                textFormat: Text.PlainText
                wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                maximumLineCount: root.errorRows
                elide: Text.ElideRight
                font: Theme.captionFont
                color: Theme.redColor
                Accessible.ignored: true

                HoverHandler {
                    id: errorHover
                }

                HelpTip {
                    text: root.shortened(root.errorMessage, 4 * root.longestError)
                    shown: root.failed && errorHover.hovered
                    maximumWidth: 520
                }
            }
        }

        Row {
            id: buttons

            // What the buttons have around their symbols.
            readonly property int around: 5

            anchors.right: parent.right
            anchors.rightMargin: 8 - buttons.around
            anchors.verticalCenter: parent.verticalCenter
            spacing: 10 - 2 * buttons.around

            IconButton {
                objectName: "reveal"
                visible: root.hasOutput
                symbol: "magnifying-glass"
                help: "Reveal output"
                focusPolicy: root.selected ? Qt.TabFocus : Qt.NoFocus
                Accessible.description: root.fileName
                onClicked: root.revealRequested()
            }

            IconButton {
                objectName: "remove"
                enabled: root.removable
                symbol: "cross"
                help: "Remove"
                focusPolicy: root.selected ? Qt.TabFocus : Qt.NoFocus
                Accessible.description: root.removable ? root.fileName : `${root.fileName}. Unavailable`
                onClicked: root.removeRequested()
            }
        }
    }

    // Keeps its place when it is not drawn, so that rows stay where they are.
    Divider {
        id: divider

        objectName: "divider"
        anchors.bottom: parent.bottom
        x: 32
        width: root.width - 32 - 4
        color: root.dividerShown ? Theme.dividerColor : "transparent"
    }
}
