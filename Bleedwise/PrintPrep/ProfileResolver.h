#pragma once

#include <filesystem>
#include <optional>

/// Finds the colour profile that results are made for.
namespace Bleedwise::ProfileResolver {

/// The FOGRA39 profile, "ISOcoated_v2_eci.icc": from the main bundle's resources
/// (`../share/bleedwise/` seen from the executable's folder), else from the module resource bundle.
/// Nothing when neither holds it. Only looks; does not read the profile. Any thread.
///
/// When the main bundle lacks it and there is no resource bundle at all, the process ends
/// (`ResourceBundle::module`).
std::optional<std::filesystem::path> fogra39URL();

} // namespace Bleedwise::ProfileResolver
