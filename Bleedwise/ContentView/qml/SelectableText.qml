import QtQuick

// A text that wraps and that can be copied from.
TextEdit {
    id: root

    readOnly: true
    selectByMouse: true
    selectByKeyboard: true
    activeFocusOnTab: true
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
        shown: root.activeFocus
        radius: 4
    }
}
