import QtQuick
import Bleedwise.Window

// The program's window, without the desktop's frame.
Window {
    id: root

    // What is shown and done; see the class ContentView.
    required property var viewModel

    // What looks for new versions; see the class Updater. Null when nothing does.
    property var updater: null

    width: 880
    height: 640
    minimumWidth: Math.max(720, content.minimumWidth)
    minimumHeight: 560
    title: "Bleedwise"
    color: Theme.windowColor
    flags: Qt.Window | Qt.FramelessWindowHint | Qt.WindowMinMaxButtonsHint | Qt.WindowCloseButtonHint

    onClosing: close => close.accepted = root.viewModel.requestClose()
    onVisibleChanged: {
        if (root.visible)
            root.viewModel.appeared();
    }

    // Puts the updater's panel away when nothing that has the focus takes Escape.
    function dismissUpdate(event) {
        event.accepted = root.updater?.showing ?? false;
        if (event.accepted)
            root.updater.dismiss();
    }

    function chooseFiles() {
        if (!root.viewModel.isConverting)
            chooser.open(root);
    }

    Shortcut {
        sequences: [StandardKey.Open]
        onActivated: root.chooseFiles()
    }

    Shortcut {
        sequences: [StandardKey.Quit]
        onActivated: root.close()
    }

    Connections {
        target: root.viewModel

        function onCloseReady() {
            root.close();
        }
    }

    FileChooser {
        id: chooser

        dark: Theme.dark
        onChosen: urls => {
            if (!root.viewModel.isConverting)
                root.viewModel.addPDFs(urls);
        }
    }

    WindowContent {
        id: content

        objectName: "content"
        anchors.fill: parent
        coveredHeight: strip.height
        viewModel: root.viewModel
        onChooserRequested: root.chooseFiles()
        Keys.onEscapePressed: event => root.dismissUpdate(event)
    }

    TitleStrip {
        id: strip

        objectName: "strip"
        width: parent.width
        window: root
        checksForUpdates: root.updater !== null
        onAboutRequested: about.active = true
        onUpdateCheckRequested: root.updater.checkForUpdates()
        onQuitRequested: root.close()
        Keys.onEscapePressed: event => root.dismissUpdate(event)
    }

    DropHighlight {
        objectName: "dropHighlight"
        anchors.fill: parent
        anchors.margins: 5
        shown: root.viewModel.isTargeted
    }

    // The frame's line, which tells the window from what lies behind it.
    Rectangle {
        anchors.fill: parent
        visible: root.visibility === Window.Windowed
        color: "transparent"
        border.width: 1
        border.color: Theme.quietOutlineColor
    }

    ResizeEdges {
        window: root
    }

    // The dialogs are made when they are first needed.
    Loader {
        id: about

        active: false
        sourceComponent: AboutDialog {
            visible: true
            onClosed: about.active = false
        }
    }

    // Waits for a dialog that must be answered first, which it would lie over.
    Loader {
        active: (root.updater?.showing ?? false) && !about.active && !root.viewModel.showingStopQuestion
        sourceComponent: UpdatePanel {
            objectName: "updatePanel"
            visible: true
            updater: root.updater
        }
    }

    Loader {
        active: root.viewModel.showingStopQuestion
        sourceComponent: StopDialog {
            objectName: "stopDialog"
            visible: true
            currentJobNumber: root.viewModel.currentJobNumber
            jobCount: root.viewModel.jobCount
            onStopConfirmed: root.viewModel.stopBatchAndClose()
            onClosed: root.viewModel.continueBatch()
        }
    }
}
