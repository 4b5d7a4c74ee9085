#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

#include <QSocketNotifier>

namespace Bleedwise {

/// Ends the event loop with status 0, without questions, when the process is asked to end: by
/// SIGTERM, by SIGINT (Control-C) or by SIGHUP (its terminal is closed). The same signal
/// once more ends the process at once; another one does not, for sessions end with two of them. A
/// signal that was ignored when the process began, as by nohup, stays so.
///
/// One object, on the main thread, while the application object lives.
class TerminationSignals {
public:
    TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;
    ~TerminationSignals();

private:
    FileDescriptor event_;
    QSocketNotifier notifier_;
};

} // namespace Bleedwise
