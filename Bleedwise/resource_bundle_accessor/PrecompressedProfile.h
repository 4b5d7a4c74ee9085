#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// The profile that comes with the program, compressed when the program was built: to do that
/// in a conversion takes as long as drawing a small page, and does not come out as small.
///
/// The file beside the profile has a zlib stream (RFC 1950) and behind it the stream's CRC-32, most
/// significant byte first: with that and with the stream's own checksum of what it stands for, a
/// damaged file and that of another profile are told from the right one.
namespace Bleedwise::PrecompressedProfile {

/// Where it lies beside a profile.
std::filesystem::path urlBeside(const std::filesystem::path& profileURL);

/// What such a file holds for a profile. Takes seconds. Throws `std::bad_alloc`.
std::string file(std::string_view profile);

/// The zlib stream of such a file, if that is intact and for this profile, else nothing.
std::string_view stream(std::string_view file, std::string_view profile);

} // namespace Bleedwise::PrecompressedProfile
