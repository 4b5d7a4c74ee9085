#pragma once

#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <locale>

namespace Bleedwise::Testing {

/// Makes the process locale, C's and C++'s, one with a comma for the decimal point for the length
/// of a scope. The locale is compiled on the spot, because a machine may have none but "C".
class GermanLocale {
public:
    /// Throws `std::runtime_error` when the locale cannot be had, or prints no comma.
    GermanLocale();
    GermanLocale(const GermanLocale&) = delete;
    GermanLocale& operator=(const GermanLocale&) = delete;
    ~GermanLocale();

    /// The folder of the compiled locale, for another process's `LOCPATH`.
    const std::filesystem::path& folder() const { return folder_.path(); }

    static constexpr const char* name = "de_DE.UTF-8";

private:
    void restore() const;

    TemporaryFolder folder_;
    ScopedVariable search_;
    std::locale previous_;
};

} // namespace Bleedwise::Testing
