#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string_view>

namespace Bleedwise {

/// An ICC profile, or the description of a colour space in the same form. A cheap, shared,
/// immutable handle; any thread.
class Profile {
public:
    enum class Space { gray, rgb, cmyk, lab, other };

    /// Nothing when `bytes` are not an ICC profile.
    static std::optional<Profile> fromBytes(std::string_view bytes);

    /// The same without a copy of `bytes`, which `owner` keeps.
    static std::optional<Profile> fromBytes(std::string_view bytes,
                                            std::shared_ptr<const void> owner);

    /// IEC 61966-2-1, which uncalibrated RGB is taken for.
    static Profile sRGB();

    /// A tristimulus value; white has Y = 1.
    using XYZ = std::array<double, 3>;

    /// CalRGB (ISO 32000-1, 8.6.5.3): the columns are XYZ of full red, green and blue beside
    /// `white`. Nothing when the numbers make no colour space.
    static std::optional<Profile> calibratedRGB(const XYZ& white, const XYZ& gamma,
                                                const std::array<XYZ, 3>& primaries);

    /// CalGray (ISO 32000-1, 8.6.5.2). Nothing when the numbers make no colour space.
    static std::optional<Profile> calibratedGray(const XYZ& white, double gamma);

    /// CIE L*a*b* relative to the white of the medium, as the PDF's Lab is; its numbers are L* from
    /// 0 to 100 and a*, b*.
    static Profile lab();

    Space space() const noexcept { return space_; }
    /// Numbers per colour, 0 for `Space::other`.
    int channels() const noexcept;

    /// The Little CMS profile, valid while this object or a copy lives.
    void* handle() const noexcept { return handle_.get(); }

private:
    explicit Profile(void* handle);
    static std::optional<Profile> adopt(void* handle);

    std::shared_ptr<void> handle_;
    Space space_;
};

} // namespace Bleedwise
