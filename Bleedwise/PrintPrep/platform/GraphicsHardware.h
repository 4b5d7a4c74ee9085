#pragma once

#include <filesystem>

namespace Bleedwise::GraphicsHardware {

/// Whether this machine has a device that draws for programs, so that OpenGL does not have to be
/// emulated on the processor. `devices` is the folder of the machine's devices.
bool isPresent(const std::filesystem::path& devices = "/dev");

} // namespace Bleedwise::GraphicsHardware
