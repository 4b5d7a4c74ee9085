#include "BleedwiseApp/WaylandSeat.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <wayland-client.h>

namespace Bleedwise::WaylandSeat {
namespace {

void noteGlobal(void* hasSeat, wl_registry* /*registry*/, std::uint32_t /*name*/,
                const char* interface, std::uint32_t /*version*/) {
    if (std::string_view(interface) == wl_seat_interface.name)
        *static_cast<bool*>(hasSeat) = true;
}

void ignoreRemoval(void* /*hasSeat*/, wl_registry* /*registry*/, std::uint32_t /*name*/) {}

constexpr wl_registry_listener listener = {noteGlobal, ignoreRemoval};

} // namespace

bool isMissing() {
    if (std::getenv("WAYLAND_SOCKET"))
        return false;
    const std::unique_ptr<wl_display, decltype(&wl_display_disconnect)> display(
        wl_display_connect(nullptr), wl_display_disconnect);
    if (!display)
        return false;
    bool hasSeat = false;
    const std::unique_ptr<wl_registry, decltype(&wl_registry_destroy)> registry(
        wl_display_get_registry(display.get()), wl_registry_destroy);
    wl_registry_add_listener(registry.get(), &listener, &hasSeat);
    return wl_display_roundtrip(display.get()) >= 0 && !hasSeat;
}

} // namespace Bleedwise::WaylandSeat
