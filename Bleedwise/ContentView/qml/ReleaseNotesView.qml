import QtQuick
import QtQuick.Templates as T

// What is new in a version: text with links, which scrolls when it is long.
FocusScope {
    id: root

    // Rich text as the updater makes it: p, with the classes item and heading1 to heading3, br and a.
    required property string notes

    signal linkActivated(string address)

    readonly property string style: `
        a { color: ${Theme.accentColor} }
        p { margin: ${Theme.scaled(7)}px 0 0 0 }
        .item { margin: ${Theme.scaled(4)}px 0 0 ${Theme.scaled(10)}px; text-indent: -${Theme.scaled(10)}px }
        .heading1, .heading2, .heading3 { margin-top: ${Theme.scaled(15)}px; font-weight: 600 }
        .heading1 { font-size: ${Theme.scaled(17)}px }
        .heading2 { font-size: ${Theme.scaled(15)}px }
    `

    implicitHeight: text.implicitHeight + 2 * flickable.anchors.margins

    Rectangle {
        anchors.fill: parent
        radius: Theme.smallControlRadius
        color: Theme.consoleColor
        border.width: 1
        border.color: Theme.quietOutlineColor

        FocusRing {
            shown: text.activeFocus
        }
    }

    Flickable {
        id: flickable

        anchors.fill: parent
        anchors.margins: 10
        clip: true
        contentWidth: width
        contentHeight: text.implicitHeight
        boundsBehavior: Flickable.StopAtBounds

        T.ScrollBar.vertical: VerticalScrollBar {}

        TextEdit {
            id: text

            objectName: "notesText"
            width: flickable.width
            text: `<style>${root.style}</style>${root.notes}`
            textFormat: TextEdit.RichText
            readOnly: true
            selectByMouse: true
            activeFocusOnTab: true
            wrapMode: TextEdit.WrapAtWordBoundaryOrAnywhere
            font: Theme.bodyFont
            color: Theme.labelColor
            selectionColor: Theme.prominentColor
            selectedTextColor: Theme.prominentLabelColor

            Accessible.role: Accessible.StaticText
            Accessible.name: "What is new"
            Accessible.description: text.getText(0, text.length)
            Accessible.readOnly: true

            Keys.onUpPressed: flickable.flick(0, 500)
            Keys.onDownPressed: flickable.flick(0, -500)

            onLinkActivated: link => root.linkActivated(link)

            HoverHandler {
                cursorShape: text.hoveredLink ? Qt.PointingHandCursor : Qt.IBeamCursor
            }
        }
    }
}
