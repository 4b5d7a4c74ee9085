#pragma once

#include <filesystem>

/// The folder with the files that the program ships, `Bleedwise_Bleedwise.bundle`.
namespace Bleedwise::ResourceBundle {

/// The bundle beside the executable, else the copy in the build tree. Looked up once, on first use,
/// from whichever thread comes first. When neither is a folder the process ends with a message that
/// names both places.
const std::filesystem::path& module();

} // namespace Bleedwise::ResourceBundle
