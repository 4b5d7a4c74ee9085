// An empty Qt Quick window of the main window's size: what a program with a window costs at least.

#include <cstdlib>
#include <memory>

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QUrl>

int main(int argc, char** argv) {
    const QGuiApplication application(argc, argv);
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nWindow { width: 880; height: 640; visible: true }", QUrl());
    const std::unique_ptr<QObject> window(component.create());
    return window ? QGuiApplication::exec() : EXIT_FAILURE;
}
