#include "PrintPrep/platform/GraphicsHardware.h"

#include <algorithm>
#include <array>
#include <system_error>

namespace Bleedwise::GraphicsHardware {
namespace {

using std::filesystem::path;

/// The kernel's own drivers, which have a node for drawing ("renderD128") beside that of the
/// screen ("card0"); a screen that cannot draw has only the latter.
bool hasRenderNode(const path& devices) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(devices / "dri", error), end;
         !error && entry != end; entry.increment(error)) {
        if (entry->path().filename().native().starts_with("renderD"))
            return true;
    }
    return false;
}

/// Drivers with devices of their own: Nvidia's, and that of Linux inside of Windows.
bool hasOtherDevice(const path& devices) {
    return std::ranges::any_of(std::array{"nvidiactl", "dxg"}, [&](const char* name) {
        std::error_code ignored;
        return std::filesystem::exists(devices / name, ignored);
    });
}

} // namespace

bool isPresent(const path& devices) {
    return hasRenderNode(devices) || hasOtherDevice(devices);
}

} // namespace Bleedwise::GraphicsHardware
