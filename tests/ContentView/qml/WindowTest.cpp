// Runs the tests of the window that are written in QML: the files tst_*.qml in this folder.

#include <QApplication>
#include <QQuickWindow>
#include <QtQuickTest>

extern void qml_register_types_Bleedwise_Window();

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    qml_register_types_Bleedwise_Window();
    return quick_test_main(argc, argv, "Window", BLEEDWISE_QML_TESTS);
}
