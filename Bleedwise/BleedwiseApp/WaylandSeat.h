#pragma once

namespace Bleedwise::WaylandSeat {

/// Whether this session's Wayland compositor has neither keyboard nor pointer for its programs, as
/// one without a screen may have none. False where no compositor runs, and where it cannot be
/// asked, because it has given this process a connection that serves for one use (WAYLAND_SOCKET).
bool isMissing();

} // namespace Bleedwise::WaylandSeat
