#pragma once

namespace Bleedwise {

/// How many processors this process may run on, at least 1: all of the machine's, unless whoever
/// started it has given it some of them only, as `taskset` does.
unsigned availableProcessors();

} // namespace Bleedwise
