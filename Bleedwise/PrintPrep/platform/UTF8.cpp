#include "PrintPrep/platform/UTF8.h"

#include <cstddef>

namespace Bleedwise::UTF8 {
namespace {

bool isBetween(unsigned char byte, unsigned char first, unsigned char last) {
    return byte >= first && byte <= last;
}

/// The length of the well-formed sequence at the start of `bytes`, 0 when there is none.
std::size_t sequenceLength(std::string_view bytes) {
    const auto lead = static_cast<unsigned char>(bytes[0]);
    if (lead < 0x80)
        return 1;
    if (!isBetween(lead, 0xc2, 0xf4))
        return 0;
    const std::size_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    if (bytes.size() < length)
        return 0;
    // Table 3-7: only the second byte's range depends on the first.
    const unsigned char first = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
    const unsigned char last = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
    if (!isBetween(static_cast<unsigned char>(bytes[1]), first, last))
        return 0;
    for (std::size_t index = 2; index < length; ++index) {
        if (!isBetween(static_cast<unsigned char>(bytes[index]), 0x80, 0xbf))
            return 0;
    }
    return length;
}

} // namespace

bool isValid(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = sequenceLength(bytes);
        if (length == 0)
            return false;
        bytes.remove_prefix(length);
    }
    return true;
}

} // namespace Bleedwise::UTF8
