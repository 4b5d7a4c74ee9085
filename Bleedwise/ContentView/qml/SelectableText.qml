import QtQuick

// A text that wraps and that can be copied from.
TextEdit {
    id: root

    property bool selectable: true

    readOnly: true
    selectByMouse: root.selectable
    selectByKeyboard: root.selectable
    activeFocusOnTab: root.selectable
    textFormat: TextEdit.PlainText
    wrapMode: TextEdit.WrapAtWordBoundaryOrAnywhere
    selectionColor: Theme.prominentColor
    selectedTextColor: Theme.prominentLabelColor

    onActiveFocusChanged: {
        if (!root.activeFocus)
            root.deselect();
    }

    Accessible.role: Accessible.StaticText
    Accessible.name: root.text
    Accessible.readOnly: true

    FocusRing {
        shown: root.selectable && root.activeFocus
        radius: 4
    }
}
