import QtQuick
import QtQuick.Templates as T

// The help that appears beside a control after the pointer has rested on it or the keyboard has come
// to it. Goes with them, or when there was time to read it.
//
// The tip itself is made when it is first shown, so that a long list costs nothing for its help.
Item {
    id: root

    required property string text
    required property bool shown

    property int delay: 600
    // As the toolkit keeps its own tool tips.
    property int duration: 10000 + 40 * Math.max(0, root.text.length - 100)
    property int maximumWidth: 380

    anchors.fill: parent

    onShownChanged: {
        if (!root.shown)
            tip.active = false;
    }

    Timer {
        interval: root.delay
        running: root.shown && root.text !== ""
        onTriggered: tip.active = true
    }

    Timer {
        interval: root.duration
        running: tip.active
        onTriggered: tip.active = false
    }

    Loader {
        id: tip

        objectName: "tip"
        active: false
        sourceComponent: T.ToolTip {
            id: bubble

            parent: root
            visible: true
            x: Math.round((root.width - bubble.implicitWidth) / 2)
            y: root.height + 6
            margins: 6
            horizontalPadding: 9
            verticalPadding: 5
            implicitWidth: Math.min(root.maximumWidth, words.implicitWidth + bubble.leftPadding + bubble.rightPadding)
            implicitHeight: words.implicitHeight + bubble.topPadding + bubble.bottomPadding
            closePolicy: T.Popup.NoAutoClose
            text: root.text

            contentItem: Text {
                id: words

                text: bubble.text
                textFormat: Text.PlainText
                wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                maximumLineCount: 24
                elide: Text.ElideRight
                font: Theme.calloutFont
                color: Theme.helpLabelColor
            }

            background: Rectangle {
                radius: Theme.smallControlRadius
                color: Theme.helpColor
            }

            enter: Transition {
                NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.hoverDuration }
            }
        }
    }
}
