#pragma once

/// Where the desktop's portal is on the session bus.
namespace Bleedwise::DesktopPortal {

constexpr auto service = "org.freedesktop.portal.Desktop";
constexpr auto path = "/org/freedesktop/portal/desktop";

} // namespace Bleedwise::DesktopPortal
