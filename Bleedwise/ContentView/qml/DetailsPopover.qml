import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Bleedwise.Window

// What the two modes do, which colour profile is used, and whether Ghostscript was found. Stands
// above its parent and points at it.
T.Popup {
    id: root

    // Empty when Ghostscript was not found.
    required property string ghostscriptPath

    readonly property bool ghostscriptFound: root.ghostscriptPath !== ""

    x: Math.round(parent.width - root.width + 14)
    y: -root.height - 9
    width: 360
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    margins: 8
    padding: 16
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutsideParent
    transformOrigin: T.Popup.BottomRight

    contentItem: ColumnLayout {
        spacing: 12

        Accessible.role: Accessible.Dialog
        Accessible.name: "Conversion details"

        Text {
            Layout.fillWidth: true
            text: "Native uses Ghostscript to preserve compatible text and vector artwork. Raster creates a flattened 300 DPI CMYK PDF. Both modes use FOGRA39 for coated print. If the source does not include bleed, the app leaves a white bleed area around trim."
            wrapMode: Text.Wrap
            lineHeight: 1.15
            font: Theme.calloutFont
            color: Theme.secondaryLabelColor
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        Divider {
            Layout.fillWidth: true
        }

        ColumnLayout {
            spacing: 3

            Text {
                text: "Color profile"
                font: Theme.captionFont
                color: Theme.secondaryLabelColor
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            Text {
                objectName: "profile"
                text: "FOGRA39 / ISO Coated v2 (ECI)"
                font: Theme.bodyFont
                color: Theme.labelColor
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 7

            SymbolIcon {
                objectName: "ghostscriptSymbol"
                Layout.alignment: Qt.AlignTop
                Layout.preferredWidth: 16
                Layout.preferredHeight: 16
                symbol: root.ghostscriptFound ? "checkmark-circle-fill" : "exclamation-triangle-fill"
                color: root.ghostscriptFound ? Theme.greenColor : Theme.orangeColor
            }

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 3

                Text {
                    objectName: "ghostscriptState"
                    text: root.ghostscriptFound ? "Ghostscript ready" : "Ghostscript not found"
                    font: Theme.bodyFont
                    color: Theme.labelColor
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }

                SelectableText {
                    objectName: "ghostscriptDetail"
                    Layout.fillWidth: true
                    text: root.ghostscriptFound ? root.ghostscriptPath : "Install with Homebrew: brew install ghostscript"
                    font: Theme.captionFont
                    color: Theme.secondaryLabelColor
                }
            }
        }
    }

    background: Rectangle {
        radius: 11
        color: Theme.popoverColor
        border.width: 1
        border.color: Theme.quietOutlineColor

        SoftShadow {
            radius: 11
        }

        Item {
            id: tail

            // Under the middle of the parent, wherever the margins have pushed the popover.
            x: Math.round((root.parent?.width ?? 0) / 2 - root.x)
            y: root.height - 1

            Rectangle {
                anchors.centerIn: parent
                width: 14
                height: 14
                rotation: 45
                radius: 2
                color: Theme.popoverColor
                border.width: 1
                border.color: Theme.quietOutlineColor
                antialiasing: true
            }

            // Hides the line between the ground and its tail.
            Rectangle {
                x: -9
                y: -12
                width: 18
                height: 13
                color: Theme.popoverColor
            }
        }
    }

    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.hoverDuration; easing.type: Easing.OutQuad }
        NumberAnimation { property: "scale"; from: 0.97; to: 1; duration: Theme.hoverDuration; easing.type: Easing.OutQuad }
    }
    exit: Transition {
        NumberAnimation { property: "opacity"; to: 0; duration: Theme.hoverDuration; easing.type: Easing.OutQuad }
    }
}
