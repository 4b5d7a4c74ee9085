#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

namespace Bleedwise {

/// Sends what the whole process writes to standard output and standard error nowhere while it
/// lives: libraries print there behind their callers' backs. The first of overlapping objects
/// switches the streams off and the last switches them on again. Any thread.
///
/// Text of this program that must be seen has to be written before or afterwards. The streams stay
/// as they are when descriptors run out.
class SilencedStreams {
public:
    SilencedStreams();
    SilencedStreams(const SilencedStreams&) = delete;
    SilencedStreams& operator=(const SilencedStreams&) = delete;
    ~SilencedStreams();
};

} // namespace Bleedwise
