#include "resource_bundle_accessor/PrecompressedProfile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include <libdeflate.h>

namespace Bleedwise::PrecompressedProfile {
namespace {

constexpr std::size_t checksumBytes = 4;
constexpr std::size_t streamHeadBytes = 2;

std::string bigEndian(std::uint32_t number) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        bytes += static_cast<char>(number >> shift & 0xffU);
    return bytes;
}

} // namespace

std::filesystem::path urlBeside(const std::filesystem::path& profileURL) {
    std::filesystem::path url = profileURL;
    return url += ".zlib";
}

std::string file(std::string_view profile) {
    constexpr int best = 12;
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(best), libdeflate_free_compressor);
    if (!compressor)
        throw std::bad_alloc();
    std::string bytes(libdeflate_zlib_compress_bound(compressor.get(), profile.size()), '\0');
    bytes.resize(libdeflate_zlib_compress(compressor.get(), profile.data(), profile.size(),
                                          bytes.data(), bytes.size()));
    return bytes + bigEndian(libdeflate_crc32(0, bytes.data(), bytes.size()));
}

std::string_view stream(std::string_view file, std::string_view profile) {
    if (file.size() < streamHeadBytes + 2 * checksumBytes)
        return {};
    const std::string_view stream = file.substr(0, file.size() - checksumBytes);
    if (!file.ends_with(bigEndian(libdeflate_crc32(0, stream.data(), stream.size()))) ||
        !stream.ends_with(bigEndian(libdeflate_adler32(1, profile.data(), profile.size()))))
        return {};
    return stream;
}

} // namespace Bleedwise::PrecompressedProfile
