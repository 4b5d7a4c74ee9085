#include "ContentView/BackgroundTask.h"

#include "PrintPrep/platform/FatalError.h"

#include <QCoreApplication>
#include <QEvent>

namespace Bleedwise {

BackgroundThread::~BackgroundThread() {
    abandon();
}

void BackgroundThread::abandon() {
    isAbandoned_ = true;
    resume();
}

void BackgroundThread::start(std::function<void()> work, std::coroutine_handle<> waiting) {
    if (thread_.joinable())
        fatalError("BackgroundThread was given work while it was busy");
    thread_ = std::thread([this, work = std::move(work)] {
        work();
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    });
    waiting_ = waiting;
}

void BackgroundThread::customEvent(QEvent* /*event*/) {
    resume();
}

void BackgroundThread::resume() {
    if (thread_.joinable())
        thread_.join();
    if (const std::coroutine_handle<> waiting = std::exchange(waiting_, {}))
        waiting.resume();
}

} // namespace Bleedwise
