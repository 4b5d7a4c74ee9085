#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

/// How Little CMS comes by the bytes of a profile: where they lie, and its large tables in one go
/// instead of number by number. What it makes of them is the same.
namespace Bleedwise::ProfileReader {

/// A profile for Little CMS, which reads it as it needs it, and keeps `owner`, with which `bytes`
/// stay, for as long. A null pointer when they are not an ICC profile. Any thread.
void* open(std::string_view bytes, std::shared_ptr<const void> owner);

/// The type of what stands under a tag of a profile that `open` gave, both as Little CMS numbers
/// them (`cmsReadRawTag` would write a table that has been read out again for it). Nothing when
/// there is no such tag, or the profile is another. Any thread.
std::optional<std::uint32_t> typeOf(void* profile, std::uint32_t tag);

} // namespace Bleedwise::ProfileReader
