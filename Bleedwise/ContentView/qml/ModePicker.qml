import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

// A choice of one out of a few, side by side; one Tab stop, moved through with the arrow keys.
FocusScope {
    id: root

    // What to choose from; the index of the choice is what it means.
    required property list<string> segments
    required property int currentIndex

    property string label: "Conversion mode"
    property string help: "Native preserves compatible vector artwork. Raster creates a flattened 300 DPI CMYK PDF."

    // A person has chosen another segment.
    signal chosen(int index)

    // Room for the names in a desktop's largest fonts.
    readonly property real widestName: root.widest(metrics.font)

    implicitWidth: Math.max(160, Math.ceil((root.widestName + 16) * root.segments.length + 4))
    implicitHeight: Theme.scaled(28)

    Accessible.role: Accessible.Grouping
    Accessible.name: root.label
    Accessible.description: root.help

    // Takes the font so that the answer follows it.
    function widest(font: font): real {
        return Math.max(0, ...root.segments.map(name => metrics.advanceWidth(name)));
    }

    function choose(index: int) {
        if (index < 0 || index >= root.segments.length || index === root.currentIndex)
            return;
        const hadFocus = root.activeFocus;
        root.chosen(index);
        if (hadFocus)
            choices.itemAt(root.currentIndex).forceActiveFocus(Qt.MouseFocusReason);
    }

    function chooseByKey(index: int) {
        root.choose(index);
        choices.itemAt(root.currentIndex).forceActiveFocus(Qt.TabFocusReason);
    }

    FontMetrics {
        id: metrics

        font: Theme.bodyFont
    }

    Rectangle {
        anchors.fill: parent
        radius: Theme.controlRadius
        color: Theme.trackColor

        FocusRing {
            shown: root.activeFocus && choices.itemAt(root.currentIndex)?.visualFocus === true
            radius: Theme.controlRadius + distance
        }
    }

    Rectangle {
        id: thumb

        readonly property real segmentWidth: (root.width - 4) / Math.max(1, root.segments.length)

        x: 2 + root.currentIndex * thumb.segmentWidth
        y: 2
        width: thumb.segmentWidth
        height: root.height - 4
        radius: Theme.controlRadius - 2
        color: Theme.thumbColor
        border.width: 1
        border.color: Theme.quietOutlineColor

        Behavior on x {
            NumberAnimation { duration: Theme.hoverDuration; easing.type: Easing.OutQuad }
        }
    }

    RowLayout {
        anchors.fill: parent
        anchors.margins: 2
        spacing: 0

        Repeater {
            id: choices

            model: root.segments

            T.RadioButton {
                id: segment

                required property int index
                required property string modelData

                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.preferredWidth: 1
                text: segment.modelData
                checked: segment.index === root.currentIndex
                autoExclusive: false
                hoverEnabled: true
                focus: segment.checked
                focusPolicy: segment.checked ? Qt.TabFocus : Qt.NoFocus

                onClicked: root.choose(segment.index)
                // The view model says which is checked, not the click.
                onToggled: segment.checked = Qt.binding(() => segment.index === root.currentIndex)

                Accessible.role: Accessible.RadioButton
                Accessible.name: segment.text
                Accessible.description: root.label
                Accessible.onPressAction: root.choose(segment.index)
                Accessible.onToggleAction: root.choose(segment.index)

                Keys.onLeftPressed: root.chooseByKey(segment.index - 1)
                Keys.onRightPressed: root.chooseByKey(segment.index + 1)

                contentItem: Text {
                    text: segment.text
                    font: Theme.bodyFont
                    color: segment.checked || segment.hovered ? Theme.labelColor : Theme.secondaryLabelColor
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                }
            }
        }
    }

    HoverHandler {
        id: hover
    }

    HelpTip {
        text: root.help
        shown: hover.hovered || (root.activeFocus && choices.itemAt(root.currentIndex)?.visualFocus === true)
    }
}
