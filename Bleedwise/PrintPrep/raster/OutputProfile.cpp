#include "PrintPrep/raster/OutputProfile.h"

#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/raster/ColorConverter.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Bleedwise {
namespace {

/// Whether a profile is as long as its header says (ICC.1:2010, 7.2.2): of one that was cut off,
/// what is left may do to separate with, but not to embed.
bool isWhole(std::string_view bytes) {
    constexpr std::size_t sizeField = 4;
    if (bytes.size() < sizeField)
        return false;
    std::uint32_t size = 0;
    for (const char byte : bytes.substr(0, sizeField))
        size = size << 8U | static_cast<unsigned char>(byte);
    return size == bytes.size();
}

} // namespace

OutputProfile::OutputProfile(SharedMemory memory, std::shared_ptr<const std::uint8_t> bytes,
                             Profile profile)
    : memory_(std::make_shared<const SharedMemory>(std::move(memory))), bytes_(std::move(bytes)),
      profile_(std::move(profile)) {}

std::optional<OutputProfile> OutputProfile::fromBytes(std::string_view bytes) {
    auto result = fromTrustedBytes(bytes);
    return result && result->separates() ? result : std::nullopt;
}

std::optional<OutputProfile> OutputProfile::fromTrustedBytes(std::string_view bytes) {
    if (!isWhole(bytes))
        return std::nullopt;
    auto memory = SharedMemory::copyOf(bytes);
    if (!memory)
        throw PrintPrepError::couldNotCreateCMYKOutput();
    return fromMemory(std::move(*memory));
}

std::optional<OutputProfile> OutputProfile::fromMemory(SharedMemory memory) {
    std::shared_ptr<const std::uint8_t> mapping = memory.mapFinished();
    const std::string_view bytes(reinterpret_cast<const char*>(mapping.get()),
                                 mapping ? memory.size() : 0);
    auto profile = isWhole(bytes) ? Profile::fromBytes(bytes, mapping) : std::nullopt;
    if (!profile || profile->space() != Profile::Space::cmyk)
        return std::nullopt;
    return OutputProfile(std::move(memory), std::move(mapping), std::move(*profile));
}

bool OutputProfile::separates() const {
    return ColorConverter::connects(Profile::sRGB(), profile_, Intent::relativeColorimetric);
}

} // namespace Bleedwise
