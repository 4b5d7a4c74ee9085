#pragma once

namespace Bleedwise::MainThread {

/// Ends the process with a message that names `operation` unless the calling thread is the one of
/// the application object: the window's state has no locks, and a call from elsewhere would corrupt
/// it at some later time.
void require(const char* operation);

} // namespace Bleedwise::MainThread
