#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

#include <QSocketNotifier>

namespace Bleedwise {

/// Ends the event loop with status 0, without questions, when the process is asked to end: by
/// SIGTERM, by SIGINT (Control-C) or by SIGHUP (its terminal is closed). A second such signal ends
/// the process at once. A signal that was ignored when the process began, as by nohup, stays so.
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
