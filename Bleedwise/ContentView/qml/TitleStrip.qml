import QtQml.Models
import QtQuick

// The slim strip at the top of the frameless window: the application menu, room to grab the window
// by, and the window's buttons. Lies over the content, which fades out beneath it.
Item {
    id: root

    required property Window window

    // Whether the menu offers to check for updates.
    property bool checksForUpdates: false

    readonly property bool maximized: root.window.visibility === Window.Maximized
        || root.window.visibility === Window.FullScreen

    signal aboutRequested
    signal updateCheckRequested
    signal quitRequested

    implicitHeight: Theme.stripHeight

    Accessible.role: Accessible.ToolBar
    Accessible.name: "Window"

    function toggleMaximized() {
        if (root.maximized)
            root.window.showNormal();
        else
            root.window.showMaximized();
    }

    Rectangle {
        width: parent.width
        height: parent.height - 12
        color: Theme.windowColor
    }

    Rectangle {
        y: parent.height - 12
        width: parent.width
        height: 12
        gradient: Gradient {
            GradientStop { position: 0; color: Theme.windowColor }
            GradientStop { position: 1; color: Theme.translucent(Theme.windowColor, 0) }
        }
    }

    MouseArea {
        id: grip

        property point start
        property bool moving: false

        anchors.fill: parent
        Accessible.ignored: true

        onPressed: mouse => {
            grip.start = Qt.point(mouse.x, mouse.y);
            grip.moving = false;
        }
        onPositionChanged: mouse => {
            const distance = Math.max(Math.abs(mouse.x - grip.start.x), Math.abs(mouse.y - grip.start.y));
            // Asked once a press: the desktop keeps the release of the button to itself.
            if (grip.moving || distance < Qt.styleHints.startDragDistance)
                return;
            grip.moving = true;
            root.window.startSystemMove();
        }
        onDoubleClicked: root.toggleMaximized()
    }

    IconButton {
        id: menuButton

        objectName: "applicationMenu"
        anchors.left: parent.left
        anchors.leftMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        symbol: "menu"
        help: "Application menu"
        opacity: root.window.active ? 1 : 0.6
        down: pressed || menu.shown
        Accessible.role: Accessible.ButtonMenu
        onClicked: menu.toggle()

        LazyLoader {
            id: menu

            readonly property bool shown: menu.item?.visible ?? false

            anchors.fill: parent
            wanted: false

            function toggle() {
                if (menu.shown) {
                    menu.item.close();
                    return;
                }
                const byKey = menuButton.visualFocus;
                menu.wanted = true;
                menu.item.open();
                // Who opens it by a key goes on by keys, and sees from where.
                if (byKey)
                    menu.item.currentIndex = 0;
            }

            sourceComponent: PopupMenu {
                id: entries

                objectName: "menu"
                y: menuButton.height + 4
                closePolicy: PopupMenu.CloseOnEscape | PopupMenu.CloseOnPressOutsideParent

                PopupMenuItem {
                    text: "About Bleedwise"
                    onTriggered: root.aboutRequested()
                }

                // Absent, not disabled, when nothing checks.
                Instantiator {
                    active: root.checksForUpdates
                    delegate: PopupMenuItem {
                        text: "Check for Updates…"
                        onTriggered: root.updateCheckRequested()
                    }
                    onObjectAdded: (index, object) => entries.insertItem(1, object)
                    onObjectRemoved: (index, object) => entries.removeItem(object)
                }

                PopupMenuSeparator {}

                PopupMenuItem {
                    text: "Quit"
                    keys: "Ctrl+Q"
                    onTriggered: root.quitRequested()
                }
            }
        }
    }

    Row {
        anchors.right: parent.right
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        spacing: 4
        opacity: root.window.active ? 1 : 0.6

        IconButton {
            objectName: "minimize"
            symbol: "window-minimize"
            help: "Minimize"
            onClicked: root.window.showMinimized()
        }

        IconButton {
            objectName: "maximize"
            symbol: root.maximized ? "window-restore" : "window-maximize"
            help: root.maximized ? "Restore" : "Maximize"
            onClicked: root.toggleMaximized()
        }

        IconButton {
            objectName: "close"
            symbol: "window-close"
            help: "Close"
            hoveredSymbolColor: "#ffffff"
            hoveredColor: Theme.closeColor
            pressedColor: Qt.darker(Theme.closeColor, 1.2)
            onClicked: root.window.close()
        }
    }
}
