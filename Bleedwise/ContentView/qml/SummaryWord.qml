import QtQuick

// A word or a number of a row's summary, as wide as its letters to the pixel of the screen, so that
// the gaps between words are even.
Text {
    id: root

    property int maximumWidth: 10000

    readonly property real lettersWidth: Math.ceil(letters.advanceWidth * Screen.devicePixelRatio) / Screen.devicePixelRatio

    width: Math.min(root.lettersWidth, root.maximumWidth)
    topPadding: 1
    bottomPadding: 1
    textFormat: Text.PlainText
    elide: root.lettersWidth > root.maximumWidth ? Text.ElideRight : Text.ElideNone
    font: Theme.captionFont
    color: Theme.secondaryLabelColor

    Accessible.ignored: true

    TextMetrics {
        id: letters

        font: root.font
        text: root.text
    }
}
