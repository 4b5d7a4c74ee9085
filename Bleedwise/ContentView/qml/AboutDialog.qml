import QtQuick
import QtQuick.Layouts
import Bleedwise.Window

// Says what this program is.
DialogPanel {
    id: root

    property string version: Qt.application.version

    title: "About Bleedwise"
    width: 340

    onAboutToShow: close.forceActiveFocus(Qt.TabFocusReason)

    contentItem: ColumnLayout {
        spacing: 0

        Accessible.role: Accessible.Dialog
        Accessible.name: root.title

        SymbolIcon {
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: 64
            Layout.preferredHeight: 64
            symbol: "bleedwise"
            color: "transparent" // it has its own
        }

        Text {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 14
            text: "Bleedwise"
            font: Theme.headingFont
            color: Theme.labelColor
        }

        Text {
            objectName: "version"
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 3
            visible: root.version !== ""
            text: `Version ${root.version}`
            font: Theme.calloutFont
            color: Theme.secondaryLabelColor
        }

        Text {
            Layout.fillWidth: true
            Layout.topMargin: 14
            text: "Makes PDF artwork press-ready: exact trim size and bleed, all color in CMYK for coated paper."
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            lineHeight: 1.15
            font: Theme.calloutFont
            color: Theme.secondaryLabelColor
        }

        Text {
            Layout.fillWidth: true
            Layout.topMargin: 10
            text: "Free software under the GNU General Public License,\nversion 3 or later."
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            lineHeight: 1.15
            font: Theme.captionFont
            color: Theme.secondaryLabelColor
        }

        ActionButton {
            id: close

            objectName: "close"
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 20
            text: "Close"
            onClicked: root.close()
        }
    }
}
