#include "ContentView/MainWindow.h"

#include "ContentView/ContentView.h"
#include "PrintPrep/platform/GraphicsHardware.h"

#include <QDebug>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QUrl>
#include <QVariant>
#include <QtGlobal>

// Written by Qt's tools. Named here because a linker leaves out of a static library what nothing
// refers to.
extern void qml_register_types_Bleedwise_Window();

namespace Bleedwise::MainWindow {
namespace {

/// Without graphics hardware OpenGL is emulated on the processor. To load that takes longer than
/// everything else that the start does, and it draws the whole window for every change. Qt Quick's
/// own drawing on the processor draws what has changed. Done once, before the first window; whoever
/// starts the program may choose otherwise.
bool chooseRenderer() {
    const bool isChosen = qEnvironmentVariableIsSet("QT_QUICK_BACKEND") ||
                          qEnvironmentVariableIsSet("QSG_RHI_BACKEND");
    if (!isChosen && !GraphicsHardware::isPresent())
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    return true;
}

} // namespace

std::unique_ptr<QQuickWindow> make(QQmlEngine& engine, ContentView& viewModel, QObject* updater) {
    static const bool rendererIsChosen = chooseRenderer();
    static_cast<void>(rendererIsChosen);
    qml_register_types_Bleedwise_Window();
    // Small texts are sharper when the screen's pixels, and the desktop's hinting, are respected.
    QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);
    QQmlComponent component(&engine,
                            QUrl("qrc:/qt-project.org/imports/Bleedwise/Window/MainWindow.qml"));
    std::unique_ptr<QObject> object(
        component.createWithInitialProperties({{"viewModel", QVariant::fromValue(&viewModel)},
                                               {"updater", QVariant::fromValue(updater)}}));
    for (const auto& error : component.errors())
        qWarning().noquote() << error.toString();
    auto* window = qobject_cast<QQuickWindow*>(object.get());
    if (window)
        static_cast<void>(object.release());
    return std::unique_ptr<QQuickWindow>(window);
}

} // namespace Bleedwise::MainWindow
