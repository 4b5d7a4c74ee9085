#pragma once

#include <memory>

class QQmlEngine;
class QQuickWindow;

namespace Bleedwise {

class ContentView;

/// The program's window.
namespace MainWindow {

/// Makes the window of a view model, still hidden. The engine and the view model must outlive it.
/// Null where it cannot be made, for want of a Qt Quick module; Qt has then said why.
std::unique_ptr<QQuickWindow> make(QQmlEngine& engine, ContentView& viewModel);

} // namespace MainWindow
} // namespace Bleedwise
