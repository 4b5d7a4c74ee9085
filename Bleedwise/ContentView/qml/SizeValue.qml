import QtQuick

// One number of a row's summary, marked when a person has changed it.
Item {
    id: root

    required property string value
    required property bool edited

    property color color: Theme.secondaryLabelColor
    property int maximumWidth: Theme.scaled(120)

    readonly property int sidePadding: root.edited ? 4 : 0

    implicitWidth: Math.min(number.implicitWidth, root.maximumWidth) + 2 * root.sidePadding
    implicitHeight: number.implicitHeight + 2

    Accessible.ignored: true

    Rectangle {
        anchors.fill: parent
        visible: root.edited
        radius: 3
        color: Theme.flagColor
    }

    Text {
        id: number

        x: root.sidePadding
        y: 1
        width: Math.min(number.implicitWidth, root.maximumWidth)
        text: root.value
        textFormat: Text.PlainText
        elide: Text.ElideRight
        maximumLineCount: 1
        font: Theme.captionFont
        color: root.edited ? Theme.labelColor : root.color
    }

    HoverHandler {
        id: hover

        enabled: root.edited
    }

    HelpTip {
        text: "Manually edited"
        shown: root.edited && hover.hovered
    }
}
