#include "PrintPrep/platform/TemporaryFile.h"

#include "PrintPrep/platform/FatalError.h"
#include "PrintPrep/platform/ProcessInfo.h"
#include "PrintPrep/platform/UTF8.h"

#include <array>
#include <cstdlib>

#include <sys/random.h>

namespace Bleedwise::TemporaryFile {

std::filesystem::path directory() {
    const char* chosen = std::getenv("TMPDIR");
    const std::filesystem::path directory =
        ProcessInfo::absoluteURL(chosen && *chosen ? chosen : "/tmp");
    const std::string& text = directory.native();
    return text.find('%') == std::string::npos && UTF8::isValid(text) ? directory : "/tmp";
}

std::string randomUUID() {
    std::array<unsigned char, 16> bytes = {};
    // Up to 256 bytes come whole or not at all, and never with EINTR once the kernel is seeded.
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        fatalError("The system gives no random numbers.");
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0fU) | 0x40U); // RFC 4122, 4.4
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3fU) | 0x80U);

    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10)
            text += '-';
        constexpr const char* digits = "0123456789ABCDEF";
        text += digits[bytes[index] >> 4U];
        text += digits[bytes[index] & 0x0fU];
    }
    return text;
}

std::filesystem::path freshWorkFileURL() {
    return directory() / (randomUUID() + ".pdf");
}

} // namespace Bleedwise::TemporaryFile
