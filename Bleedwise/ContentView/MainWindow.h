#pragma once

#include <memory>

class QObject;
class QQmlEngine;
class QQuickWindow;

namespace Bleedwise {

class ContentView;

/// The program's window.
namespace MainWindow {

/// Makes the window of a view model, still hidden, whose menu offers to check for updates when
/// there is an updater. The engine, the view model and the updater must outlive it. Null where it
/// cannot be made, for want of a Qt Quick module; Qt has then said why.
std::unique_ptr<QQuickWindow> make(QQmlEngine& engine, ContentView& viewModel,
                                   QObject* updater = nullptr);

} // namespace MainWindow
} // namespace Bleedwise
