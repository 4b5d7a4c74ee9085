import QtQuick

// Makes its component when it is first wanted, and keeps it from then on, so that the window opens
// without waiting for what it does not show yet.
Loader {
    id: root

    required property bool wanted

    property bool made: false

    active: root.wanted || root.made

    onLoaded: root.made = true
}
