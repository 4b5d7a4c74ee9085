#include "resource_bundle_accessor/ResourceBundle.h"

#include "PrintPrep/platform/FatalError.h"
#include "PrintPrep/platform/ProcessInfo.h"

#include <system_error>

namespace Bleedwise::ResourceBundle {
namespace {

std::filesystem::path open() {
    const std::filesystem::path beside =
        ProcessInfo::applicationFolder() / "Bleedwise_Bleedwise.bundle";
    const std::filesystem::path built = BLEEDWISE_BUILT_BUNDLE;
    std::error_code ignored;
    if (std::filesystem::is_directory(beside, ignored))
        return beside;
    if (std::filesystem::is_directory(built, ignored))
        return built;
    fatalError("could not load resource bundle: from " + beside.native() + " or " + built.native());
}

} // namespace

const std::filesystem::path& module() {
    static const std::filesystem::path bundle = open();
    return bundle;
}

} // namespace Bleedwise::ResourceBundle
