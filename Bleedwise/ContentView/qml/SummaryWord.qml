import QtQuick

// A word between the numbers of a row's summary.
Text {
    id: root

    topPadding: 1
    bottomPadding: 1
    font: Theme.captionFont
    color: Theme.secondaryLabelColor

    Accessible.ignored: true
}
