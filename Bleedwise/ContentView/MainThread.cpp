#include "ContentView/MainThread.h"

#include "PrintPrep/platform/FatalError.h"

#include <string>

#include <QCoreApplication>
#include <QThread>

namespace Bleedwise::MainThread {

void require(const char* operation) {
    const QCoreApplication* application = QCoreApplication::instance();
    if (!application || QThread::currentThread() != application->thread())
        fatalError(std::string(operation) + " was called outside the main thread.");
}

} // namespace Bleedwise::MainThread
