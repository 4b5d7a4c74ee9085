#include "PrintPrep/ProfileResolver.h"

#include "PrintPrep/platform/ProcessInfo.h"
#include "resource_bundle_accessor/ResourceBundle.h"

#include <string>
#include <system_error>

namespace Bleedwise::ProfileResolver {
namespace {

std::optional<std::filesystem::path> resource(const std::filesystem::path& folder,
                                              const std::string& name) {
    const std::filesystem::path url = folder / name;
    std::error_code ignored;
    if (std::filesystem::is_regular_file(url, ignored))
        return url;
    return std::nullopt;
}

} // namespace

std::optional<std::filesystem::path> fogra39URL() {
    const std::string name = "ISOcoated_v2_eci.icc";
    const std::filesystem::path mainBundle =
        ProcessInfo::applicationFolder().parent_path() / "share" / "bleedwise";
    if (const auto url = resource(mainBundle, name))
        return url;
    return resource(ResourceBundle::module(), name);
}

} // namespace Bleedwise::ProfileResolver
