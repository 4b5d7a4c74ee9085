// To be loaded into a Qt program before its own libraries (LD_PRELOAD): ends the program, with
// status 0, when the first frame of its first window is on the screen.

#include <chrono>
#include <cstdlib>

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QQuickWindow>
#include <QTimer>

namespace {

/// A program that shows no window must not keep the measurement waiting for ever.
constexpr std::chrono::seconds patience{30};

class FrameWatch : public QObject {
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* window = qobject_cast<QQuickWindow*>(watched);
        if (window && event->type() == QEvent::Expose && !watches_) {
            watches_ = true;
            connect(
                window, &QQuickWindow::frameSwapped, window, [] { std::_Exit(EXIT_SUCCESS); },
                Qt::DirectConnection);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    bool watches_ = false;
};

void watchFrames() {
    auto* application = QCoreApplication::instance();
    application->installEventFilter(new FrameWatch(application));
    QTimer::singleShot(patience, [] { std::_Exit(EXIT_FAILURE); });
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watchFrames)
