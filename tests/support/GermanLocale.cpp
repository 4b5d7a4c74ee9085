#include "support/GermanLocale.h"

#include "support/Command.h"

#include <array>
#include <clocale>
#include <cstdio>
#include <stdexcept>
#include <string_view>

namespace Bleedwise::Testing {
namespace {

const std::filesystem::path& compiledIn(const std::filesystem::path& folder) {
    const CommandResult result =
        run({"localedef", "-i", "de_DE", "-f", "UTF-8", folder / GermanLocale::name});
    if (result.status != 0)
        throw std::runtime_error("localedef failed: " + result.error);
    return folder;
}

/// What German writing means to C++ streams.
class GermanNumbers : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

} // namespace

GermanLocale::GermanLocale() : search_("LOCPATH", compiledIn(folder_.path()).native()) {
    // Not std::locale(name) for both: in glibc 2.36 it leaks the value of LOCPATH.
    std::locale::global(std::locale(previous_, new GermanNumbers));
    std::setlocale(LC_ALL, name);
    std::array<char, 16> text = {};
    std::snprintf(text.data(), text.size(), "%.1f", 1.5);
    if (std::string_view(text.data()) != "1,5") {
        restore();
        throw std::runtime_error("the German locale prints 1.5 as " + std::string(text.data()));
    }
}

GermanLocale::~GermanLocale() {
    restore();
}

void GermanLocale::restore() const {
    std::setlocale(LC_ALL, "C"); // as a test program begins
    std::locale::global(previous_);
}

} // namespace Bleedwise::Testing
