#pragma once

#include <cstdint>

#include <sys/types.h>

/// Locks a helper process in, before it sees anything that a stranger wrote.
namespace Bleedwise::Sandbox {

/// What the kernel lends for it; what it lacks is left out, and the rest holds.
struct Locks {
    /// No path can be opened but the system's fonts, their configuration and Poppler's tables.
    bool paths = false;
    /// No system call but those that reading, computing and answering take.
    bool calls = false;
};

/// From here on, for the life of the process:
/// - it dies with `parent`, which has started it (or, if that has happened already, now);
/// - of its descriptors only 0 to `lastDescriptor` are left;
/// - it can gain no privileges, be traced by nobody and leave no core file; when memory runs out it
///   is the first to go;
/// - it has at most `memory` bytes of address space, and few descriptors;
/// - it opens nothing for writing, and reads what `Locks::paths` says;
/// - it makes no sockets, processes, threads, signals or executable memory. A call that is denied
///   fails with EPERM; one of another processor's kind kills the process.
///
/// To be called while there is one thread.
Locks lockIn(pid_t parent, int lastDescriptor, std::uint64_t memory);

/// No limit on the address space, for `lockIn`.
inline constexpr std::uint64_t unlimitedMemory = ~std::uint64_t{0};

} // namespace Bleedwise::Sandbox
