import QtQuick
import QtQuick.Dialogs

// The desktop's dialog for choosing PDFs.
FileDialog {
    id: root

    signal chosen(var urls)

    title: "Choose PDFs"
    fileMode: FileDialog.OpenFiles
    nameFilters: ["PDF files (*.pdf *.PDF *.Pdf)"]

    onAccepted: root.chosen(root.selectedFiles)
}
