import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

// A size with its title above it, to be typed in.
ColumnLayout {
    id: root

    required property string title
    required property string value

    readonly property bool editing: field.activeFocus

    // The text is now another one, through the keyboard or through an assistive technology.
    signal edited(string text)
    // Return was pressed: typing is done.
    signal finished

    spacing: 6

    Layout.minimumWidth: 168
    Layout.fillWidth: true
    Layout.preferredWidth: 168

    Text {
        text: root.title
        font: Theme.captionFont
        color: Theme.secondaryLabelColor
        Accessible.ignored: true
    }

    T.TextField {
        id: field

        objectName: "field"
        Layout.fillWidth: true
        implicitWidth: 168
        implicitHeight: Theme.controlHeight
        leftPadding: 10
        rightPadding: 10
        verticalAlignment: TextInput.AlignVCenter
        font: Theme.titleFont
        color: Theme.labelColor
        selectionColor: Theme.prominentColor
        selectedTextColor: Theme.prominentLabelColor
        selectByMouse: true
        activeFocusOnTab: true
        hoverEnabled: true
        clip: field.contentWidth > field.width - field.leftPadding - field.rightPadding

        onTextChanged: {
            if (field.text !== root.value)
                root.edited(field.text);
        }
        onActiveFocusChanged: {
            if (field.activeFocus && field.focusReason !== Qt.MouseFocusReason)
                field.selectAll();
            else if (!field.activeFocus)
                field.deselect();
        }
        Keys.onReturnPressed: root.finished()
        Keys.onEnterPressed: root.finished()

        Accessible.role: Accessible.EditableText
        Accessible.name: root.title

        // A binding that survives being written to, as an assistive technology does.
        Binding on text {
            value: root.value
        }

        background: Rectangle {
            radius: Theme.controlRadius
            color: Theme.fieldColor
            border.width: field.activeFocus ? 2 : 1
            border.color: field.activeFocus ? Theme.accentColor : Theme.outlineColor
        }
    }
}
