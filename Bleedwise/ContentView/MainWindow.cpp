#include "ContentView/MainWindow.h"

#include "ContentView/ContentView.h"

#include <QDebug>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QUrl>
#include <QVariant>

// Written by Qt's tools. Named here because a linker leaves out of a static library what nothing
// refers to.
extern void qml_register_types_Bleedwise_Window();

namespace Bleedwise::MainWindow {

std::unique_ptr<QQuickWindow> make(QQmlEngine& engine, ContentView& viewModel) {
    qml_register_types_Bleedwise_Window();
    // Small texts are sharper when the screen's pixels, and the desktop's hinting, are respected.
    QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);
    QQmlComponent component(&engine,
                            QUrl("qrc:/qt-project.org/imports/Bleedwise/Window/MainWindow.qml"));
    std::unique_ptr<QObject> object(
        component.createWithInitialProperties({{"viewModel", QVariant::fromValue(&viewModel)}}));
    for (const auto& error : component.errors())
        qWarning().noquote() << error.toString();
    auto* window = qobject_cast<QQuickWindow*>(object.get());
    if (window)
        static_cast<void>(object.release());
    return std::unique_ptr<QQuickWindow>(window);
}

} // namespace Bleedwise::MainWindow
