import QtQuick

// One number of a row's summary, marked when a person has changed it.
Item {
    id: root

    required property string value
    required property bool edited

    readonly property int sidePadding: root.edited ? 4 : 0

    implicitWidth: number.width + 2 * root.sidePadding
    implicitHeight: number.implicitHeight

    Accessible.ignored: true

    Rectangle {
        anchors.fill: parent
        visible: root.edited
        radius: 3
        color: Theme.flagColor
    }

    SummaryWord {
        id: number

        x: root.sidePadding
        maximumWidth: Theme.scaled(120)
        text: root.value
        color: root.edited ? Theme.labelColor : Theme.secondaryLabelColor
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
