#include "support/EventLoop.h"

#include <chrono>

#include <QTimer>

namespace Bleedwise::Testing {

bool EventLoop::runUntil(const std::function<bool()>& done) {
    using namespace std::chrono_literals;
    QTimer limit; // only ends a failing test
    limit.setSingleShot(true);
    limit.start(1min);
    QTimer tick; // so that a condition is asked again that no event brings about
    tick.start(10ms);
    while (!done()) {
        if (!limit.isActive())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void EventLoop::runOnce() {
    QCoreApplication::processEvents();
}

} // namespace Bleedwise::Testing
