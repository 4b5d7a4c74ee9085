#include "PrintPrep/raster/PopplerRenderer.h"

#include "PrintPrep/platform/AvailableMemory.h"
#include "PrintPrep/platform/SilencedStreams.h"
#include "PrintPrep/raster/BlackCurve.h"
#include "PrintPrep/raster/ColorConverter.h"
#include "PrintPrep/raster/ConverterCache.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <exception>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <Error.h>
#include <Function.h>
#include <Gfx.h>
#include <GfxState.h>
#include <GlobalParams.h>
#include <OptionalContent.h>
#include <PDFDoc.h>
#include <Page.h>
#include <SplashOutputDev.h>
#include <goo/gmem.h>
#include <splash/Splash.h>
#include <splash/SplashBitmap.h>
#include <splash/SplashErrorCodes.h>
#include <splash/SplashPath.h>
#include <splash/SplashPattern.h>

namespace Bleedwise {
namespace {

/// What the device composites in, and so what colours are converted to.
struct Target {
    /// The profile of the numbers in the bitmap.
    Profile profile;
    /// Whether the bitmap is RGB, as the page's transparency group asks, and not CMYK.
    bool isRGB = false;
    /// Tells this profile from every other.
    std::string name;
};

constexpr const char* sRGBName = "sRGB";

/// A number from 0 to 65535 as Poppler's, from 0 to 65536.
GfxColorComp component(std::uint16_t number) {
    return number + (number >> 15);
}

/// What a colour space of Poppler's lacks: how its numbers become the target's. Immutable.
class Definition {
public:
    explicit Definition(const GfxColorSpace& original) : original_(original.copy()) {}
    virtual ~Definition() = default;
    Definition(const Definition&) = delete;
    Definition& operator=(const Definition&) = delete;

    /// One colour to numbers of the target from 0 to 65535.
    virtual void convert(const GfxColor& color, std::uint16_t* numbers) const = 0;

    /// Whether bytes of an image row can be converted without going through `GfxColor`.
    virtual bool convertsRows() const { return false; }
    virtual void convertRow(const unsigned char*, unsigned char*, int) const {}

    /// Whether its inks stand beside the process colours, so that overprinting adds to them.
    virtual bool isSpot() const { return false; }

    GfxColorSpace& original() const { return *original_; }

private:
    std::unique_ptr<GfxColorSpace> original_;
};

enum class Effort {
    /// Few colours: as the profiles tell.
    precise,
    /// An image large enough for a table.
    table,
    /// A shading, which asks for each pixel and gets similar colours again and again.
    remembered,
};

/// Conversions of colours that were asked for lately. A colour stands for all that agree with it in
/// ten bits per channel, whichever came first, so that the result does not depend on the order.
class RememberedColors {
public:
    void convert(const ColorConverter& converter, const double* source, std::uint16_t* numbers) {
        std::uint64_t key = 1; // no entry has the key 0
        std::array<double, 4> rounded{};
        for (std::size_t i = 0; i < static_cast<std::size_t>(converter.sourceChannels()); ++i) {
            const double level = std::floor(std::clamp(source[i], 0.0, 1.0) * levels + 0.5);
            key = key << 10U | static_cast<std::uint64_t>(level);
            rounded[i] = level / levels;
        }
        constexpr std::uint64_t spread = 0x9e3779b97f4a7c15; // 2^64 / golden ratio
        Entry& entry = entries_[key * spread >> (64 - indexBits)];
        if (entry.key != key) {
            converter.convert(rounded.data(), entry.numbers.data());
            entry.key = key;
        }
        std::copy(entry.numbers.begin(), entry.numbers.end(), numbers);
    }

private:
    static constexpr double levels = 1023;
    static constexpr unsigned indexBits = 14;

    struct Entry {
        std::uint64_t key = 0;
        std::array<std::uint16_t, 4> numbers{};
    };
    std::vector<Entry> entries_ = std::vector<Entry>(std::size_t{1} << indexBits);
};

/// The colour space that stands in for one of the document's in everything that is painted: the
/// same numbers, another way to ink. What it is not asked to manage, as in soft masks with a colour
/// space of their own, it leaves to the original.
class ManagedColorSpace final : public GfxColorSpace {
public:
    ManagedColorSpace(std::shared_ptr<const Definition> definition, bool targetIsRGB, Intent intent)
        : definition_(std::move(definition)), targetIsRGB_(targetIsRGB), intent_(intent) {
        overprintMask = original().getMode() == csIndexed
                            ? static_cast<GfxIndexedColorSpace&>(original()).getOverprintMask()
                            : original().getOverprintMask();
    }

    GfxColorSpace* copy() const override {
        auto* duplicate = new ManagedColorSpace(definition_, targetIsRGB_, intent_);
        duplicate->overprintMask = overprintMask;
        return duplicate;
    }

    /// Not the original's: Poppler takes some modes as leave to cast to its own class.
    GfxColorSpaceMode getMode() const override { return csCalRGB; }

    void getGray(const GfxColor* color, GfxGray* gray) const override {
        original().getGray(color, gray);
    }
    void getRGB(const GfxColor* color, GfxRGB* rgb) const override {
        if (!targetIsRGB_)
            return original().getRGB(color, rgb);
        std::array<std::uint16_t, 4> numbers{};
        definition_->convert(*color, numbers.data());
        *rgb = {component(numbers[0]), component(numbers[1]), component(numbers[2])};
    }
    void getCMYK(const GfxColor* color, GfxCMYK* cmyk) const override {
        if (targetIsRGB_)
            return original().getCMYK(color, cmyk);
        std::array<std::uint16_t, 4> numbers{};
        definition_->convert(*color, numbers.data());
        *cmyk = {component(numbers[0]), component(numbers[1]), component(numbers[2]),
                 component(numbers[3])};
    }
    void getDeviceN(const GfxColor* color, GfxColor* deviceN) const override {
        original().getDeviceN(color, deviceN);
    }

    bool useGetGrayLine() const override { return original().useGetGrayLine(); }
    bool useGetRGBLine() const override {
        return targetIsRGB_ ? definition_->convertsRows() : original().useGetRGBLine();
    }
    bool useGetCMYKLine() const override {
        return targetIsRGB_ ? original().useGetCMYKLine() : definition_->convertsRows();
    }
    void getGrayLine(unsigned char* in, unsigned char* out, int length) override {
        original().getGrayLine(in, out, length);
    }
    void getRGBLine(unsigned char* in, unsigned char* out, int length) override {
        if (targetIsRGB_)
            definition_->convertRow(in, out, length);
        else
            original().getRGBLine(in, out, length);
    }
    void getCMYKLine(unsigned char* in, unsigned char* out, int length) override {
        if (targetIsRGB_)
            original().getCMYKLine(in, out, length);
        else
            definition_->convertRow(in, out, length);
    }

    int getNComps() const override { return original().getNComps(); }
    void getDefaultColor(GfxColor* color) const override { original().getDefaultColor(color); }
    void getDefaultRanges(double* low, double* range, int largestPixel) const override {
        original().getDefaultRanges(low, range, largestPixel);
    }
    bool isNonMarking() const override { return original().isNonMarking(); }

    GfxColorSpace& original() const { return definition_->original(); }
    Intent intent() const { return intent_; }
    bool isSpot() const { return definition_->isSpot(); }
    void setOverprintMask(unsigned mask) { overprintMask = mask; }

private:
    std::shared_ptr<const Definition> definition_;
    bool targetIsRGB_;
    Intent intent_;
};

/// Colours that have a profile: RGB, CMYK, CalRGB, Lab, ICCBased.
class ProfiledDefinition final : public Definition {
public:
    ProfiledDefinition(const GfxColorSpace& original,
                       std::shared_ptr<const ColorConverter> converter, Effort effort)
        : Definition(original), converter_(std::move(converter)), effort_(effort),
          isLab_(original.getMode() == csLab) {
        if (effort == Effort::remembered && !isLab_)
            remembered_ = std::make_unique<RememberedColors>();
    }

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        std::array<double, 4> source{};
        for (std::size_t i = 0; i < static_cast<std::size_t>(converter_->sourceChannels()); ++i)
            source[i] = colToDbl(color.c[i]);
        if (remembered_)
            remembered_->convert(*converter_, source.data(), numbers);
        else
            converter_->convert(source.data(), numbers);
    }
    bool convertsRows() const override { return !isLab_; }
    void convertRow(const unsigned char* in, unsigned char* out, int length) const override {
        if (effort_ == Effort::table)
            converter_->convertPixelsByTable(in, out, static_cast<std::size_t>(length));
        else
            converter_->convertPixels(in, out, static_cast<std::size_t>(length));
    }

private:
    std::shared_ptr<const ColorConverter> converter_;
    Effort effort_;
    bool isLab_;
    std::unique_ptr<RememberedColors> remembered_;
};

/// Colours of the target itself.
class TargetDefinition final : public Definition {
public:
    using Definition::Definition;

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        for (std::size_t i = 0; i < static_cast<std::size_t>(original().getNComps()); ++i)
            numbers[i] = static_cast<std::uint16_t>(
                std::lround(std::clamp(colToDbl(color.c[i]), 0.0, 1.0) * 65535));
    }
    bool convertsRows() const override { return true; }
    void convertRow(const unsigned char* in, unsigned char* out, int length) const override {
        std::copy_n(in, length * original().getNComps(), out);
    }
};

/// Tagged greys: black alone.
class GrayDefinition final : public Definition {
public:
    GrayDefinition(const GfxColorSpace& original, std::shared_ptr<const BlackCurve> curve)
        : Definition(original), curve_(std::move(curve)) {}

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        std::fill_n(numbers, 3, 0);
        numbers[3] = curve_->ink(colToDbl(color.c[0]));
    }

private:
    std::shared_ptr<const BlackCurve> curve_;
};

void convertThrough(const GfxColorSpace& space, bool targetIsRGB, const GfxColor& color,
                    std::uint16_t* numbers) {
    const auto number = [](GfxColorComp value) {
        return static_cast<std::uint16_t>(std::clamp(value, 0, 0xffff));
    };
    if (targetIsRGB) {
        GfxRGB rgb;
        space.getRGB(&color, &rgb);
        numbers[0] = number(rgb.r);
        numbers[1] = number(rgb.g);
        numbers[2] = number(rgb.b);
    } else {
        GfxCMYK cmyk;
        space.getCMYK(&color, &cmyk);
        numbers[0] = number(cmyk.c);
        numbers[1] = number(cmyk.m);
        numbers[2] = number(cmyk.y);
        numbers[3] = number(cmyk.k);
    }
}

/// A palette over a managed space (ISO 32000-1, 8.6.6.3).
class IndexedDefinition final : public Definition {
public:
    IndexedDefinition(GfxIndexedColorSpace& original, std::unique_ptr<GfxColorSpace> base,
                      bool targetIsRGB)
        : Definition(original) {
        const auto channels = static_cast<std::size_t>(base->getNComps());
        std::array<double, gfxColorMaxComps> low{};
        std::array<double, gfxColorMaxComps> range{};
        base->getDefaultRanges(low.data(), range.data(), original.getIndexHigh());
        const auto count = static_cast<std::size_t>(std::max(0, original.getIndexHigh())) + 1;
        for (std::size_t entry = 0; entry < count; ++entry) {
            GfxColor color{};
            for (std::size_t i = 0; i < channels; ++i)
                color.c[i] = dblToCol(low[i] + original.getLookup()[entry * channels + i] / 255.0 *
                                                   range[i]);
            convertThrough(*base, targetIsRGB, color, palette_.emplace_back().data());
        }
    }

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        const double index =
            std::clamp(colToDbl(color.c[0]) + 0.5, 0.0, static_cast<double>(palette_.size() - 1));
        std::copy_n(palette_[static_cast<std::size_t>(index)].data(), 4, numbers);
    }

private:
    std::vector<std::array<std::uint16_t, 4>> palette_;
};

/// Spot colours whose alternate is a managed space (ISO 32000-1, 8.6.6.4 and 8.6.6.5).
class TintDefinition final : public Definition {
public:
    TintDefinition(const GfxColorSpace& original, const Function& tint,
                   std::unique_ptr<GfxColorSpace> alternate, bool targetIsRGB)
        : Definition(original), tint_(tint.copy()), alternate_(std::move(alternate)),
          targetIsRGB_(targetIsRGB) {}

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        std::array<double, gfxColorMaxComps> in{};
        std::array<double, gfxColorMaxComps> out{};
        for (std::size_t i = 0; i < static_cast<std::size_t>(original().getNComps()); ++i)
            in[i] = colToDbl(color.c[i]);
        tint_->transform(in.data(), out.data());
        GfxColor alternateColor{};
        for (std::size_t i = 0; i < static_cast<std::size_t>(alternate_->getNComps()); ++i)
            alternateColor.c[i] = dblToCol(out[i]);
        convertThrough(*alternate_, targetIsRGB_, alternateColor, numbers);
    }
    bool isSpot() const override { return true; }

private:
    std::unique_ptr<Function> tint_;
    std::unique_ptr<GfxColorSpace> alternate_;
    bool targetIsRGB_;
};

/// Colorants that are the device's own inks: their tints are the numbers, and the alternate is not
/// asked (ISO 32000-1, 8.6.6.4).
class ProcessInkDefinition final : public Definition {
public:
    /// The bits of `inks` say which of the four inks a component of the colour drives.
    ProcessInkDefinition(const GfxColorSpace& original, std::vector<unsigned> inks)
        : Definition(original), inks_(std::move(inks)) {}

    void convert(const GfxColor& color, std::uint16_t* numbers) const override {
        std::fill_n(numbers, 4, 0);
        for (std::size_t i = 0; i < inks_.size(); ++i) {
            const double tint = std::clamp(colToDbl(color.c[i]), 0.0, 1.0);
            for (unsigned ink = 0; ink < 4; ++ink) {
                if (inks_[i] & (1U << ink))
                    numbers[ink] = static_cast<std::uint16_t>(std::lround(tint * 65535));
            }
        }
    }

private:
    std::vector<unsigned> inks_;
};

/// Which inks a colorant name drives, as bits; nothing for a spot colour.
std::optional<unsigned> processInks(const std::string& colorant) {
    static const std::map<std::string, unsigned> inks = {
        {"Cyan", 1}, {"Magenta", 2}, {"Yellow", 4}, {"Black", 8}, {"All", 15}, {"None", 0}};
    const auto found = inks.find(colorant);
    if (found == inks.end())
        return std::nullopt;
    return found->second;
}

/// The ICC profiles in the document.
class EmbeddedProfiles {
public:
    struct Entry {
        std::optional<Profile> profile;
        /// Tells these bytes from others, wherever they are in the document.
        std::string name;
        bool isOutput = false;
    };

    EmbeddedProfiles(PDFDoc& document, const OutputProfile& output)
        : document_(document), output_(output) {}

    /// The profile in the stream that `reference` names; an empty entry when there is none. Valid
    /// until the next call.
    const Entry& at(Ref reference) {
        const auto known = entries_.find(reference);
        if (known != entries_.end())
            return known->second;
        if (entries_.size() > mostEntries)
            entries_.clear();
        Entry& entry = entries_[reference];
        Object object = document_.getXRef()->fetch(reference);
        if (!object.isStream())
            return entry;
        constexpr int step = 1 << 16;
        const std::vector<unsigned char> bytes = object.getStream()->toUnsignedChars(step, step);
        object.streamClose();
        const std::string_view view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        entry.profile = Profile::fromBytes(view);
        entry.name = "ICC " + std::to_string(view.size()) + " " +
                     std::to_string(std::hash<std::string_view>()(view));
        entry.isOutput = view == output_.bytes();
        return entry;
    }

    const OutputProfile& output() const { return output_; }

private:
    static constexpr std::size_t mostEntries = 256;

    PDFDoc& document_;
    OutputProfile output_;
    std::map<Ref, Entry> entries_;
};

/// Chooses how the document's colours reach one target, and remembers it.
class ColorManager {
public:
    ColorManager(EmbeddedProfiles& profiles, Target target)
        : profiles_(profiles), output_(profiles.output()), target_(std::move(target)) {}

    const Target& target() const { return target_; }

    /// What stands in for `space`; nothing when Poppler's own way is right.
    std::unique_ptr<GfxColorSpace> managed(const GfxColorSpace& space, Intent intent,
                                           Effort effort = Effort::precise) {
        if (dynamic_cast<const ManagedColorSpace*>(&space))
            return nullptr;
        // Poppler's accessors lack `const`, though they change nothing.
        auto& original = const_cast<GfxColorSpace&>(space);
        switch (space.getMode()) {
        case csDeviceGray:
        case csPattern:
            return nullptr;
        case csDeviceCMYK:
            return target_.isRGB ? deviceCMYKOnRGB(original, intent, effort) : nullptr;
        case csDeviceRGB:
            if (target_.name == sRGBName)
                return nullptr;
            return profiled(
                original, sRGBName, [] { return Profile::sRGB(); }, intent, effort);
        case csCalGray:
            return calibratedGray(static_cast<GfxCalGrayColorSpace&>(original), intent, effort);
        case csCalRGB:
            return calibratedRGB(static_cast<GfxCalRGBColorSpace&>(original), intent, effort);
        case csLab:
            return profiled(
                original, "Lab", [] { return Profile::lab(); }, intent, effort);
        case csICCBased:
            return tagged(static_cast<GfxICCBasedColorSpace&>(original), intent, effort);
        case csIndexed:
            return indexed(static_cast<GfxIndexedColorSpace&>(original), intent);
        case csSeparation:
            return separation(static_cast<GfxSeparationColorSpace&>(original), intent, effort);
        case csDeviceN:
            return deviceN(static_cast<GfxDeviceNColorSpace&>(original), intent, effort);
        }
        return nullptr;
    }

private:
    using MakeProfile = std::function<std::optional<Profile>()>;

    std::unique_ptr<GfxColorSpace> wrap(std::shared_ptr<const Definition> definition,
                                        Intent intent) const {
        return std::make_unique<ManagedColorSpace>(std::move(definition), target_.isRGB, intent);
    }

    /// Nothing when there is no way from the profile to the target.
    std::unique_ptr<GfxColorSpace> profiled(const GfxColorSpace& original, const std::string& name,
                                            const MakeProfile& makeProfile, Intent intent,
                                            Effort effort) {
        const std::string key = name + " " + std::to_string(static_cast<int>(intent));
        const std::string definitionKey = key + " " + std::to_string(static_cast<int>(effort));
        const auto found = definitions_.find(definitionKey);
        // Two spaces with one profile may differ in what they default to.
        const bool reusable = original.getMode() == csDeviceRGB;
        if (!reusable || found == definitions_.end()) {
            const auto converter =
                converters_.get(key, [&]() -> std::shared_ptr<const ColorConverter> {
                    const auto profile = makeProfile();
                    return profile ? ColorConverter::create(*profile, target_.profile, intent)
                                   : nullptr;
                });
            if (!converter || converter->sourceChannels() != original.getNComps())
                return nullptr;
            auto definition = std::make_shared<ProfiledDefinition>(original, converter, effort);
            if (!reusable)
                return wrap(definition, intent);
            definitions_[definitionKey] = definition;
            return wrap(definition, intent);
        }
        return wrap(found->second, intent);
    }

    std::unique_ptr<GfxColorSpace> deviceCMYKOnRGB(const GfxColorSpace& original, Intent intent,
                                                   Effort effort) {
        return profiled(
            original, "output", [&] { return output_.profile(); }, intent, effort);
    }

    std::unique_ptr<GfxColorSpace> black(const GfxColorSpace& original, const std::string& name,
                                         const MakeProfile& makeProfile, Intent intent,
                                         Effort effort) {
        if (target_.isRGB)
            return profiled(original, name, makeProfile, intent, effort);
        const auto known = curves_.find(name);
        std::shared_ptr<const BlackCurve> curve;
        if (known != curves_.end()) {
            curve = known->second;
        } else {
            const auto profile = makeProfile();
            if (profile && profile->space() == Profile::Space::gray)
                curve = BlackCurve::create(*profile, output_.profile());
            if (curves_.size() > mostDefinitions)
                curves_.clear();
            curves_[name] = curve;
        }
        // Poppler's own way is black alone too.
        return wrap(curve ? std::shared_ptr<const Definition>(
                                std::make_shared<GrayDefinition>(original, curve))
                          : std::make_shared<ProcessGrayDefinition>(original),
                    intent);
    }

    /// Greys without a usable profile: as uncalibrated ones.
    class ProcessGrayDefinition final : public Definition {
    public:
        explicit ProcessGrayDefinition(const GfxColorSpace& original) : Definition(original) {}

        void convert(const GfxColor& color, std::uint16_t* numbers) const override {
            std::fill_n(numbers, 3, 0);
            const double gray = std::clamp(colToDbl(color.c[0]), 0.0, 1.0);
            numbers[3] = static_cast<std::uint16_t>(std::lround((1 - gray) * 65535));
        }
    };

    static std::string text(std::initializer_list<double> numbers) {
        std::string result;
        for (const double number : numbers)
            result += std::to_string(number) + " ";
        return result;
    }

    std::unique_ptr<GfxColorSpace> calibratedGray(GfxCalGrayColorSpace& space, Intent intent,
                                                  Effort effort) {
        const Profile::XYZ white = {space.getWhiteX(), space.getWhiteY(), space.getWhiteZ()};
        const double gamma = space.getGamma();
        return black(
            space, "CalGray " + text({white[0], white[1], white[2], gamma}),
            [=] { return Profile::calibratedGray(white, gamma); }, intent, effort);
    }

    std::unique_ptr<GfxColorSpace> calibratedRGB(GfxCalRGBColorSpace& space, Intent intent,
                                                 Effort effort) {
        const Profile::XYZ white = {space.getWhiteX(), space.getWhiteY(), space.getWhiteZ()};
        const Profile::XYZ gamma = {space.getGammaR(), space.getGammaG(), space.getGammaB()};
        const double* m = space.getMatrix();
        const std::array<Profile::XYZ, 3> primaries = {
            {{m[0], m[1], m[2]}, {m[3], m[4], m[5]}, {m[6], m[7], m[8]}}};
        return profiled(
            space,
            "CalRGB " + text({white[0], white[1], white[2], gamma[0], gamma[1], gamma[2], m[0],
                              m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]}),
            [=] { return Profile::calibratedRGB(white, gamma, primaries); }, intent, effort);
    }

    std::unique_ptr<GfxColorSpace> tagged(GfxICCBasedColorSpace& space, Intent intent,
                                          Effort effort) {
        const EmbeddedProfiles::Entry& embedded = profiles_.at(space.getRef());
        const bool usable = embedded.profile && embedded.profile->channels() == space.getNComps();
        if (usable && embedded.isOutput) {
            auto device = std::make_unique<GfxDeviceCMYKColorSpace>();
            auto replaced = managed(*device, intent, effort);
            return replaced ? std::move(replaced) : std::move(device);
        }
        if (usable && target_.isRGB && embedded.name == target_.name)
            return wrap(std::make_shared<TargetDefinition>(space), intent);
        const auto profile = [&] { return embedded.profile; };
        if (usable && space.getNComps() == 1)
            return black(space, embedded.name, profile, intent, effort);
        if (usable) {
            if (auto result = profiled(space, embedded.name, profile, intent, effort))
                return result;
        }
        // A broken profile: the alternate, which Poppler derives from the number of components.
        auto replaced = managed(*space.getAlt(), intent, effort);
        return replaced ? std::move(replaced)
                        : std::unique_ptr<GfxColorSpace>(space.getAlt()->copy());
    }

    std::unique_ptr<GfxColorSpace> indexed(GfxIndexedColorSpace& space, Intent intent) {
        auto base = managed(*space.getBase(), intent);
        if (!base)
            return nullptr;
        return wrap(std::make_shared<IndexedDefinition>(space, std::move(base), target_.isRGB),
                    intent);
    }

    std::unique_ptr<GfxColorSpace> separation(GfxSeparationColorSpace& space, Intent intent,
                                              Effort effort) {
        const auto inks = processInks(space.getName()->toStr());
        if (inks && !target_.isRGB && !space.isNonMarking())
            return wrap(std::make_shared<ProcessInkDefinition>(space, std::vector{*inks}), intent);
        return tint(space, *space.getFunc(), *space.getAlt(), intent, effort);
    }

    std::unique_ptr<GfxColorSpace> deviceN(GfxDeviceNColorSpace& space, Intent intent,
                                           Effort effort) {
        std::vector<unsigned> inks;
        for (int i = 0; i < space.getNComps(); ++i) {
            // "All" is no colorant of a DeviceN space (ISO 32000-1, 8.6.6.5).
            const std::string& name = space.getColorantName(i);
            if (const auto ink = name == "All" ? std::nullopt : processInks(name))
                inks.push_back(*ink);
        }
        if (inks.size() == static_cast<std::size_t>(space.getNComps()) && !target_.isRGB)
            return wrap(std::make_shared<ProcessInkDefinition>(space, std::move(inks)), intent);
        return tint(space, *space.getTintTransformFunc(), *space.getAlt(), intent, effort);
    }

    std::unique_ptr<GfxColorSpace> tint(const GfxColorSpace& space, const Function& function,
                                        const GfxColorSpace& alternate, Intent intent,
                                        Effort effort) {
        // The tints of an image's pixels arrive one by one.
        auto replaced =
            managed(alternate, intent, effort == Effort::precise ? effort : Effort::remembered);
        if (!replaced)
            return nullptr;
        return wrap(
            std::make_shared<TintDefinition>(space, function, std::move(replaced), target_.isRGB),
            intent);
    }

    static constexpr std::size_t mostDefinitions = 256;

    EmbeddedProfiles& profiles_;
    const OutputProfile& output_;
    Target target_;
    ConverterCache converters_;
    std::map<std::string, std::shared_ptr<const Definition>> definitions_;
    std::map<std::string, std::shared_ptr<const BlackCurve>> curves_;
};

/// Gives a shading another colour space for as long as it lives.
class ShadingSpace {
public:
    ShadingSpace(GfxShading& shading, std::unique_ptr<GfxColorSpace> space)
        : shading_(shading), original_(shading.*Access::member()), space_(std::move(space)) {
        shading.*Access::member() = space_.get();
    }
    ShadingSpace(const ShadingSpace&) = delete;
    ShadingSpace& operator=(const ShadingSpace&) = delete;
    ~ShadingSpace() { shading_.*Access::member() = original_; }

    /// The member, which only a derived class may name.
    struct Access : GfxShading {
        static GfxColorSpace* GfxShading::*member() { return &Access::colorSpace; }
    };

private:
    GfxShading& shading_;
    GfxColorSpace* original_;
    std::unique_ptr<GfxColorSpace> space_;
};

/// Cuts the triangles of a mesh so finely that it makes no difference whether colours are
/// interpolated before they are converted, as they should be, or afterwards, as Splash does it.
class TriangleCutter {
public:
    /// The mesh in pieces, with `space` for its colour space; nothing when it is fine enough. The
    /// mesh must not have functions.
    static std::unique_ptr<GfxGouraudTriangleShading> cut(GfxGouraudTriangleShading& mesh,
                                                          const GfxColorSpace& space) {
        TriangleCutter cutter(static_cast<std::size_t>(space.getNComps()));
        std::vector<Triangle> triangles(static_cast<std::size_t>(mesh.getNTriangles()));
        GfxColorComp range = 0;
        for (std::size_t i = 0; i < triangles.size(); ++i) {
            auto& [a, b, c] = triangles[i];
            mesh.getTriangle(static_cast<int>(i), &a.x, &a.y, &a.color, &b.x, &b.y, &b.color, &c.x,
                             &c.y, &c.color);
            range = std::max(
                {range, cutter.distance(a, b), cutter.distance(b, c), cutter.distance(c, a)});
        }
        // The same depth everywhere: neighbours keep their corners in common.
        int depth = 0;
        for (std::size_t count = triangles.size();
             (range >> depth) > fineRange && count * 4 <= mostTriangles; count *= 4)
            ++depth;
        if (depth == 0)
            return nullptr;
        for (const Triangle& triangle : triangles)
            cutter.add(triangle, depth);
        return cutter.shading(mesh.getType(), space);
    }

private:
    using Triangle = std::array<GfxGouraudVertex, 3>;

    /// Largest difference between corners in a channel. Within it the error of interpolating inks
    /// is below one in 255.
    static constexpr GfxColorComp fineRange = gfxColorComp1 / 16;
    static constexpr std::size_t mostTriangles = 1U << 19U;

    explicit TriangleCutter(std::size_t channels) : channels_(channels) {}

    GfxColorComp distance(const GfxGouraudVertex& a, const GfxGouraudVertex& b) const {
        GfxColorComp largest = 0;
        for (std::size_t i = 0; i < channels_; ++i)
            largest = std::max(largest, std::abs(a.color.c[i] - b.color.c[i]));
        return largest;
    }

    GfxGouraudVertex between(const GfxGouraudVertex& a, const GfxGouraudVertex& b) const {
        GfxGouraudVertex middle{};
        middle.x = (a.x + b.x) / 2;
        middle.y = (a.y + b.y) / 2;
        for (std::size_t i = 0; i < channels_; ++i)
            middle.color.c[i] = a.color.c[i] + (b.color.c[i] - a.color.c[i]) / 2;
        return middle;
    }

    void add(const Triangle& triangle, int depth) {
        if (depth == 0) {
            corners_.insert(corners_.end(), triangle.begin(), triangle.end());
            return;
        }
        const auto& [a, b, c] = triangle;
        const GfxGouraudVertex ab = between(a, b);
        const GfxGouraudVertex bc = between(b, c);
        const GfxGouraudVertex ca = between(c, a);
        for (const Triangle& part :
             {Triangle{a, ab, ca}, Triangle{ab, b, bc}, Triangle{ca, bc, c}, Triangle{ab, bc, ca}})
            add(part, depth - 1);
    }

    std::unique_ptr<GfxGouraudTriangleShading> shading(int type, const GfxColorSpace& space) const {
        // Poppler releases both arrays with its own allocator.
        const auto count = static_cast<int>(corners_.size());
        auto* vertices = static_cast<GfxGouraudVertex*>(gmallocn(count, sizeof(GfxGouraudVertex)));
        std::copy(corners_.begin(), corners_.end(), vertices);
        auto* triangles = static_cast<int(*)[3]>(gmallocn(count / 3, sizeof(int[3])));
        for (int i = 0; i < count; ++i)
            triangles[i / 3][i % 3] = i;
        auto result = std::make_unique<GfxGouraudTriangleShading>(
            type, vertices, count, triangles, count / 3, std::vector<std::unique_ptr<Function>>());
        (*result).*ShadingSpace::Access::member() = space.copy();
        return result;
    }

    std::size_t channels_;
    std::vector<GfxGouraudVertex> corners_;
};

/// Device space to user space.
class UserSpace {
public:
    /// Nothing when the current transformation cannot be undone.
    static std::optional<UserSpace> of(const GfxState& state) {
        const double* m = state.getCTM();
        const double determinant = m[0] * m[3] - m[1] * m[2];
        if (!std::isnormal(determinant))
            return std::nullopt;
        UserSpace space;
        space.xx_ = m[3] / determinant;
        space.yx_ = -m[1] / determinant;
        space.xy_ = -m[2] / determinant;
        space.yy_ = m[0] / determinant;
        space.x0_ = (m[2] * m[5] - m[3] * m[4]) / determinant;
        space.y0_ = (m[1] * m[4] - m[0] * m[5]) / determinant;
        return space;
    }

    std::pair<double, double> at(double x, double y) const {
        return {xx_ * x + xy_ * y + x0_, yx_ * x + yy_ * y + y0_};
    }

private:
    double xx_ = 0;
    double yx_ = 0;
    double xy_ = 0;
    double yy_ = 0;
    double x0_ = 0;
    double y0_ = 0;
};

/// How far along an axial shading a point lies (ISO 32000-1, 8.7.4.5.3), from 0 to 1 between its
/// ends.
class AxialPosition {
public:
    explicit AxialPosition(const GfxAxialShading& shading) {
        double x1 = 0;
        double y1 = 0;
        shading.getCoords(&x0_, &y0_, &x1, &y1);
        const double dx = x1 - x0_;
        const double dy = y1 - y0_;
        const double length = dx * dx + dy * dy;
        isUsable_ = std::isnormal(length);
        dx_ = dx / length;
        dy_ = dy / length;
    }

    bool isUsable() const { return isUsable_; }

    template <typename IsPainted>
    std::optional<double> at(double x, double y, const IsPainted& isPainted) const {
        const double position = (x - x0_) * dx_ + (y - y0_) * dy_;
        return isPainted(position) ? std::optional(position) : std::nullopt;
    }

private:
    double x0_ = 0;
    double y0_ = 0;
    double dx_ = 0;
    double dy_ = 0;
    bool isUsable_ = false;
};

/// The same for a radial shading (8.7.4.5.4): the last painted of the circles through the point.
class RadialPosition {
public:
    explicit RadialPosition(const GfxRadialShading& shading) {
        double x1 = 0;
        double y1 = 0;
        double r1 = 0;
        shading.getCoords(&x0_, &y0_, &r0_, &x1, &y1, &r1);
        dx_ = x1 - x0_;
        dy_ = y1 - y0_;
        dr_ = r1 - r0_;
        a_ = dx_ * dx_ + dy_ * dy_ - dr_ * dr_;
    }

    /// Circles that touch from within make the equation linear; Poppler has a way with them.
    bool isUsable() const { return std::isnormal(a_); }

    template <typename IsPainted>
    std::optional<double> at(double x, double y, const IsPainted& isPainted) const {
        const double px = x - x0_;
        const double py = y - y0_;
        const double b = px * dx_ + py * dy_ + r0_ * dr_;
        const double discriminant = b * b - a_ * (px * px + py * py - r0_ * r0_);
        if (!(discriminant >= 0))
            return std::nullopt;
        const double root = std::sqrt(discriminant) / std::abs(a_);
        for (const double position : {b / a_ + root, b / a_ - root}) {
            if (r0_ + position * dr_ >= 0 && isPainted(position))
                return position;
        }
        return std::nullopt;
    }

private:
    double x0_ = 0;
    double y0_ = 0;
    double r0_ = 0;
    double dx_ = 0;
    double dy_ = 0;
    double dr_ = 0;
    double a_ = 0;
};

/// A shading along one parameter whose colours are kept at equal steps, so that a pixel costs
/// little more than finding its place. Poppler's own pattern evaluates the shading's function and
/// converts its colour for every pixel.
template <typename Position>
class RampPattern final : public SplashPattern {
public:
    RampPattern(const Position& position, GfxUnivariateShading& shading, const UserSpace& toUser,
                bool isRGB)
        : position_(position), shading_(shading), toUser_(toUser), isRGB_(isRGB),
          extendsBefore_(shading.getExtend0()), extendsBehind_(shading.getExtend1()) {}

    SplashPattern* copy() const override {
        return new RampPattern(position_, shading_, toUser_, isRGB_);
    }

    bool getColor(int x, int y, SplashColorPtr color) override {
        const auto [userX, userY] = toUser_.at(x, y);
        const auto position = position_.at(userX, userY, [&](double value) {
            return (value >= 0 || extendsBefore_) && (value <= 1 || extendsBehind_);
        });
        if (!position)
            return false;
        const auto step = static_cast<std::size_t>(std::clamp(*position, 0.0, 1.0) * steps + 0.5);
        if (!known_[step])
            remember(step);
        std::copy_n(colors_[step].data(), isRGB_ ? 3 : 4, color);
        return true;
    }

    bool testPosition(int x, int y) override {
        SplashColor color;
        return getColor(x, y, color);
    }
    bool isStatic() override { return false; }
    bool isCMYK() override { return !isRGB_; }

private:
    /// Finer than the pixels of most pages.
    static constexpr std::size_t steps = 8192;

    void remember(std::size_t step) {
        const double t0 = shading_.getDomain0();
        const double t1 = shading_.getDomain1();
        GfxColor color{};
        shading_.getColor(t0 + (t1 - t0) * static_cast<double>(step) / steps, &color);
        std::array<std::uint16_t, 4> numbers{};
        convertThrough(*shading_.getColorSpace(), isRGB_, color, numbers.data());
        for (std::size_t i = 0; i < numbers.size(); ++i)
            colors_[step][i] = static_cast<std::uint8_t>((numbers[i] + 128) / 257);
        known_[step] = true;
    }

    Position position_;
    GfxUnivariateShading& shading_;
    UserSpace toUser_;
    bool isRGB_;
    bool extendsBefore_;
    bool extendsBehind_;
    std::vector<std::array<std::uint8_t, 4>> colors_ =
        std::vector<std::array<std::uint8_t, 4>>(steps + 1);
    std::vector<bool> known_ = std::vector<bool>(steps + 1);
};

/// Poppler's bitmap device with the colours of `ColorManager`.
class Device final : public SplashOutputDev {
public:
    Device(PDFDoc& document, ColorManager& colors, SplashColorPtr paper)
        : SplashOutputDev(colors.target().isRGB ? splashModeRGB8 : splashModeCMYK8, 1, false, paper,
                          true, splashThinLineDefault, true),
          document_(document), colors_(colors) {
        setFontAntialias(true);
        setVectorAntialias(true);
        setFreeTypeHinting(false, false);
        startDoc(&document);
    }

    // Colour spaces are replaced here and not in `updateFillColorSpace`, after which the
    // interpreter still uses the one that it has set.
    void updateFillColor(GfxState* state) override {
        if (auto space = colors_.managed(*state->getFillColorSpace(), intentOf(state)))
            state->setFillColorSpace(space.release());
        overprintByInks(state->getFillColorSpace(), *state->getFillColor());
        SplashOutputDev::updateFillColor(state);
    }
    void updateStrokeColor(GfxState* state) override {
        if (auto space = colors_.managed(*state->getStrokeColorSpace(), intentOf(state)))
            state->setStrokeColorSpace(space.release());
        overprintByInks(state->getStrokeColorSpace(), *state->getStrokeColor());
        SplashOutputDev::updateStrokeColor(state);
    }

    void fill(GfxState* state) override {
        followFillIntent(state);
        SplashOutputDev::fill(state);
    }
    void eoFill(GfxState* state) override {
        followFillIntent(state);
        SplashOutputDev::eoFill(state);
    }
    void stroke(GfxState* state) override {
        followStrokeIntent(state);
        SplashOutputDev::stroke(state);
    }
    void drawChar(GfxState* state, double x, double y, double dx, double dy, double originX,
                  double originY, CharCode code, int bytes, const Unicode* text,
                  int length) override {
        followFillIntent(state);
        followStrokeIntent(state);
        SplashOutputDev::drawChar(state, x, y, dx, dy, originX, originY, code, bytes, text, length);
    }
    void drawImageMask(GfxState* state, Object* reference, Stream* stream, int width, int height,
                       bool invert, bool interpolate, bool isInline) override {
        followFillIntent(state);
        SplashOutputDev::drawImageMask(state, reference, stream, width, height, invert, interpolate,
                                       isInline);
    }

    void drawImage(GfxState* state, Object* reference, Stream* stream, int width, int height,
                   GfxImageColorMap* map, bool interpolate, const int* maskColors,
                   bool isInline) override {
        const auto replaced = managedMap(state, *stream, width, height, *map);
        SplashOutputDev::drawImage(state, reference, stream, width, height,
                                   replaced ? replaced.get() : map, interpolate, maskColors,
                                   isInline);
    }
    void drawMaskedImage(GfxState* state, Object* reference, Stream* stream, int width, int height,
                         GfxImageColorMap* map, bool interpolate, Stream* mask, int maskWidth,
                         int maskHeight, bool maskInvert, bool maskInterpolate) override {
        const auto replaced = managedMap(state, *stream, width, height, *map);
        SplashOutputDev::drawMaskedImage(state, reference, stream, width, height,
                                         replaced ? replaced.get() : map, interpolate, mask,
                                         maskWidth, maskHeight, maskInvert, maskInterpolate);
    }
    void drawSoftMaskedImage(GfxState* state, Object* reference, Stream* stream, int width,
                             int height, GfxImageColorMap* map, bool interpolate, Stream* mask,
                             int maskWidth, int maskHeight, GfxImageColorMap* maskMap,
                             bool maskInterpolate) override {
        const auto replaced = managedMap(state, *stream, width, height, *map);
        SplashOutputDev::drawSoftMaskedImage(state, reference, stream, width, height,
                                             replaced ? replaced.get() : map, interpolate, mask,
                                             maskWidth, maskHeight, maskMap, maskInterpolate);
    }

    bool functionShadedFill(GfxState* state, GfxFunctionShading* shading) override {
        const auto managed = managedSpace(state, *shading);
        return SplashOutputDev::functionShadedFill(state, shading);
    }
    bool axialShadedFill(GfxState* state, GfxAxialShading* shading, double first,
                         double last) override {
        const auto managed = managedSpace(state, *shading);
        return fillRamp(state, *shading, AxialPosition(*shading)) ||
               SplashOutputDev::axialShadedFill(state, shading, first, last);
    }
    bool radialShadedFill(GfxState* state, GfxRadialShading* shading, double first,
                          double last) override {
        const auto managed = managedSpace(state, *shading);
        return fillRamp(state, *shading, RadialPosition(*shading)) ||
               SplashOutputDev::radialShadedFill(state, shading, first, last);
    }
    bool gouraudTriangleShadedFill(GfxState* state, GfxGouraudTriangleShading* shading) override {
        const auto managed = managedSpace(state, *shading);
        std::unique_ptr<GfxGouraudTriangleShading> pieces;
        if (managed && !shading->isParameterized())
            pieces = TriangleCutter::cut(*shading, *shading->getColorSpace());
        return SplashOutputDev::gouraudTriangleShadedFill(state, pieces ? pieces.get() : shading);
    }

private:
    static Intent intentOf(const GfxState* state) {
        return intentNamed(state->getRenderingIntent());
    }

    /// An image may name an intent of its own (ISO 32000-1, table 89).
    static Intent imageIntent(const GfxState* state, Stream& stream) {
        const Dict* dictionary = stream.getDict();
        const Object intent = dictionary ? dictionary->lookup("Intent") : Object(objNull);
        return intent.isName() ? intentNamed(intent.getName()) : intentOf(state);
    }

    /// The intent counts when something is painted, not when its colour is chosen.
    void followFillIntent(GfxState* state) {
        const auto* space = dynamic_cast<ManagedColorSpace*>(state->getFillColorSpace());
        if (!space || space->intent() == intentOf(state))
            return;
        state->setFillColorSpace(space->original().copy());
        updateFillColor(state);
    }
    void followStrokeIntent(GfxState* state) {
        const auto* space = dynamic_cast<ManagedColorSpace*>(state->getStrokeColorSpace());
        if (!space || space->intent() == intentOf(state))
            return;
        state->setStrokeColorSpace(space->original().copy());
        updateStrokeColor(state);
    }

    /// A spot colour that overprints leaves alone the inks that its alternate does without.
    static void overprintByInks(GfxColorSpace* space, const GfxColor& color) {
        auto* managed = dynamic_cast<ManagedColorSpace*>(space);
        if (!managed || !managed->isSpot())
            return;
        GfxCMYK inks;
        managed->getCMYK(&color, &inks);
        managed->setOverprintMask((inks.c > 0 ? 1U : 0U) | (inks.m > 0 ? 2U : 0U) |
                                  (inks.y > 0 ? 4U : 0U) | (inks.k > 0 ? 8U : 0U));
    }

    std::unique_ptr<GfxImageColorMap> managedMap(GfxState* state, Stream& stream, int width,
                                                 int height, GfxImageColorMap& map) {
        const bool large =
            static_cast<std::int64_t>(width) * height >= ColorConverter::tableWorthwhile;
        auto space = colors_.managed(*map.getColorSpace(), imageIntent(state, stream),
                                     large ? Effort::table : Effort::precise);
        if (!space)
            return nullptr;
        Object decode = decodeArray(map, *space);
        auto replaced = std::make_unique<GfxImageColorMap>(map.getBits(), &decode, space.release());
        if (!replaced->isOk())
            return nullptr;
        if (const GfxColor* matte = map.getMatteColor())
            replaced->setMatteColor(matte);
        return replaced;
    }

    /// The image's Decode array, null where it says nothing new.
    Object decodeArray(const GfxImageColorMap& map, const GfxColorSpace& space) {
        auto& original = const_cast<GfxImageColorMap&>(map);
        const int largestPixel = original.getBits() >= 8 ? 255 : (1 << original.getBits()) - 1;
        std::array<double, gfxColorMaxComps> low{};
        std::array<double, gfxColorMaxComps> range{};
        space.getDefaultRanges(low.data(), range.data(), largestPixel);
        bool isDefault = true;
        auto* array = new Array(document_.getXRef());
        for (int i = 0; i < original.getNumPixelComps(); ++i) {
            const auto channel = static_cast<std::size_t>(i);
            isDefault = isDefault && original.getDecodeLow(i) == low[channel] &&
                        original.getDecodeHigh(i) == low[channel] + range[channel];
            array->add(Object(original.getDecodeLow(i)));
            array->add(Object(original.getDecodeHigh(i)));
        }
        Object decode(array);
        return isDefault ? Object(objNull) : std::move(decode);
    }

    /// Fills the clip with a shading by its ramp; false when that is Poppler's own business: with
    /// overprint, or inside a soft mask that has another kind of colours.
    template <typename Position>
    bool fillRamp(GfxState* state, GfxUnivariateShading& shading, const Position& position) {
        const bool isRGB = colors_.target().isRGB;
        const auto toUser = UserSpace::of(*state);
        if (!position.isUsable() || state->getFillOverprint() || !toUser ||
            getBitmap()->getMode() != (isRGB ? splashModeRGB8 : splashModeCMYK8))
            return false;

        RampPattern<Position> pattern(position, shading, *toUser, isRGB);
        SplashPath path = shadedRegion(state, shading, *toUser);
        const bool antialias = getVectorAntialias();
        setVectorAntialias(true); // the interpreter has switched it off for shadings
        constexpr unsigned allInks = 0xffffffff;
        getSplash()->setOverprintMask(allInks, false);
        // A stroke's pattern means that the clip is the stroke.
        const bool done = getSplash()->shadedFill(&path, shading.getHasBBox(), &pattern,
                                                  state->getStrokePattern() != nullptr) == splashOk;
        setVectorAntialias(antialias);
        return done;
    }

    /// What a shading fills, in user space: its bounding box, else all that the clip lets through.
    static SplashPath shadedRegion(const GfxState* state, const GfxShading& shading,
                                   const UserSpace& toUser) {
        double left = 0;
        double top = 0;
        double right = 0;
        double bottom = 0;
        const bool isUserSpace = shading.getHasBBox();
        if (isUserSpace) {
            shading.getBBox(&left, &top, &right, &bottom);
        } else {
            state->getClipBBox(&left, &top, &right, &bottom);
            left = std::floor(left);
            top = std::floor(top);
            right = std::ceil(right);
            bottom = std::ceil(bottom);
        }
        const auto point = [&](double x, double y) {
            return isUserSpace ? std::pair(x, y) : toUser.at(x, y);
        };
        SplashPath path;
        const auto [x0, y0] = point(left, top);
        path.moveTo(x0, y0);
        for (const auto& [x, y] : {point(right, top), point(right, bottom), point(left, bottom)})
            path.lineTo(x, y);
        path.close();
        return path;
    }

    std::unique_ptr<ShadingSpace> managedSpace(GfxState* state, GfxShading& shading) {
        auto space = colors_.managed(*shading.getColorSpace(), intentOf(state), Effort::remembered);
        return space ? std::make_unique<ShadingSpace>(shading, std::move(space)) : nullptr;
    }

    PDFDoc& document_;
    ColorManager& colors_;
};

/// Finds out whether a page's resources blend by a mode other than Normal: their graphics states
/// and those of the forms, patterns and Type 3 fonts that they lead to. Soft masks, which are
/// composited by themselves, are left out.
class BlendScan {
public:
    bool finds(Dict* resources, int depth = 0) {
        if (!resources || depth > deepest)
            return false;
        return anyIn(*resources, "ExtGState", [](Object& state) { return blends(state); }) ||
               anyIn(*resources, "XObject", [&](Object& form) { return leadsOn(form, depth); }) ||
               anyIn(*resources, "Pattern", [&](Object& tile) { return leadsOn(tile, depth); }) ||
               anyIn(*resources, "Font", [&](Object& font) { return leadsOn(font, depth); });
    }

private:
    static constexpr int deepest = 32;

    /// Whether `test` holds for a value of the dictionary `category` that was not seen before.
    template <typename Test>
    bool anyIn(Dict& resources, const char* category, const Test& test) {
        Object values = resources.lookup(category);
        if (!values.isDict())
            return false;
        for (int i = 0; i < values.dictGetLength(); ++i) {
            const Object& reference = values.getDict()->getValNF(i);
            if (reference.isRef() && !seen_.insert(reference.getRef()).second)
                continue;
            Object value = values.dictGetVal(i);
            if (test(value))
                return true;
        }
        return false;
    }

    /// ISO 32000-1, table 58: a name, or an array of which the first known name counts.
    static bool blends(const Object& state) {
        Object mode = state.isDict() ? state.dictLookup("BM") : Object(objNull);
        if (mode.isArray() && mode.arrayGetLength() > 0)
            mode = mode.arrayGet(0);
        return mode.isName() && !mode.isName("Normal") && !mode.isName("Compatible");
    }

    bool leadsOn(Object& object, int depth) {
        Dict* dictionary = object.isStream() ? object.streamGetDict()
                           : object.isDict() ? object.getDict()
                                             : nullptr;
        if (!dictionary)
            return false;
        Object resources = dictionary->lookup("Resources");
        return resources.isDict() && finds(resources.getDict(), depth + 1);
    }

    std::set<Ref> seen_;
};

std::optional<Profile::XYZ> numbers(const Object& array) {
    if (!array.isArray() || array.arrayGetLength() < 3)
        return std::nullopt;
    Profile::XYZ result{};
    for (int i = 0; i < 3; ++i) {
        const Object number = array.arrayGet(i);
        if (!number.isNum())
            return std::nullopt;
        result[static_cast<std::size_t>(i)] = number.getNum();
    }
    return result;
}

/// CalRGB from its dictionary (ISO 32000-1, table 64).
std::optional<Profile> calibratedRGB(const Object& dictionary) {
    const auto white =
        dictionary.isDict() ? numbers(dictionary.dictLookup("WhitePoint")) : std::nullopt;
    if (!white)
        return std::nullopt;
    const auto gamma = numbers(dictionary.dictLookup("Gamma"));
    std::array<Profile::XYZ, 3> primaries = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    const Object matrix = dictionary.dictLookup("Matrix");
    for (int i = 0; matrix.isArray() && matrix.arrayGetLength() == 9 && i < 9; ++i) {
        const Object number = matrix.arrayGet(i);
        primaries[static_cast<std::size_t>(i / 3)][static_cast<std::size_t>(i % 3)] =
            number.isNum() ? number.getNum() : 0;
    }
    return Profile::calibratedRGB(*white, gamma.value_or(Profile::XYZ{1, 1, 1}), primaries);
}

/// The RGB space that the page asks to be composited in, when that makes a difference to how it
/// looks: its transparency group names the space (ISO 32000-2, 11.4.7 and 11.6.6) and something on
/// it blends by another mode than Normal.
std::optional<Target> blendingTarget(Page& page, EmbeddedProfiles& profiles) {
    Dict* group = page.getGroup();
    if (!group || !group->lookup("S").isName("Transparency"))
        return std::nullopt;
    Object space = group->lookup("CS");
    Object family =
        space.isArray() && space.arrayGetLength() > 0 ? space.arrayGet(0) : space.copy();
    std::optional<Target> target;
    if (family.isName("DeviceRGB")) {
        target = Target{Profile::sRGB(), true, sRGBName};
    } else if (family.isName("ICCBased") && space.isArray() && space.arrayGetLength() > 1 &&
               space.arrayGetNF(1).isRef()) {
        const EmbeddedProfiles::Entry& entry = profiles.at(space.arrayGetNF(1).getRef());
        if (entry.profile && entry.profile->space() == Profile::Space::rgb)
            target = Target{*entry.profile, true, entry.name};
    } else if (family.isName("CalRGB") && space.isArray() && space.arrayGetLength() > 1) {
        if (const auto profile = calibratedRGB(space.arrayGet(1)))
            target = Target{*profile, true, "CalRGB of page " + std::to_string(page.getNum())};
    }
    if (!target || !BlendScan().finds(page.getResourceDict()))
        return std::nullopt;
    return target;
}

/// Poppler's state is the process's.
std::mutex& popplerMutex() {
    static std::mutex mutex;
    return mutex;
}

/// Everything that a call into Poppler needs around it.
class PopplerCall {
public:
    PopplerCall() : lock_(popplerMutex()) {
        static const bool ready = [] {
            globalParams = std::make_unique<GlobalParams>();
            setErrorCallback([](ErrorCategory, Goffset, const char*) {});
            return true;
        }();
        static_cast<void>(ready);
    }

private:
    std::lock_guard<std::mutex> lock_;
    SilencedStreams silenced_;
};

/// Largest number of bytes in a bitmap of Poppler's, which counts them in an `int`.
constexpr std::int64_t largestBitmap = std::numeric_limits<int>::max();

/// Poppler's bitmaps have an alpha channel beside the four inks.
constexpr std::int64_t bytesPerPixel = 5;

/// How far everything is moved, in pixels, up and to the left: edges that lie exactly between two
/// samples, as many do, then fall to the same side whatever rows are drawn, though rounding errors
/// differ. The other direction would take shadings, which are sampled at pixels' upper left
/// corners, away from the page's edges.
constexpr double tieBreaker = 0x1p-20;

/// What drawing needs beside the bitmap, at least: fonts, images, transparency groups.
constexpr std::uint64_t workingMemory = 64ULL << 20U;

class Renderer final : public PageRenderer {
public:
    explicit Renderer(std::unique_ptr<PDFDoc> document)
        : document_(std::move(document)), pageCount_(document_->getNumPages()) {}

    ~Renderer() override {
        const PopplerCall call;
        forgetDevice();
        profiles_.reset();
        document_.reset();
    }

    int pageCount() const override { return pageCount_; }

    std::optional<Rectangle> mediaBox(int number) override {
        const PopplerCall call;
        const Page* page = pageNumber(number);
        if (!page)
            return std::nullopt;
        const PDFRectangle* box = page->getMediaBox();
        const Rectangle result = {std::min(box->x1, box->x2), std::min(box->y1, box->y2),
                                  std::abs(box->x2 - box->x1), std::abs(box->y2 - box->y1)};
        if (!std::isfinite(result.x + result.width) || !std::isfinite(result.y + result.height) ||
            !(result.width > 0) || !(result.height > 0))
            return std::nullopt;
        return result;
    }

    RenderResult render(const RenderRequest& request, const OutputProfile& profile) override {
        const PopplerCall call;
        try {
            Page* page = pageNumber(request.page);
            if (!page)
                return RenderFailure::noSuchPage;
            return renderRows(request, *page, profile);
        } catch (const std::bad_alloc&) {
            forgetDevice();
            return RenderFailure::tooLarge;
        } catch (const std::exception&) {
            forgetDevice();
            return RenderFailure::failed;
        }
    }

private:
    Page* pageNumber(int number) {
        Page* page = number >= 1 && number <= pageCount_ ? document_->getPage(number) : nullptr;
        return page && page->isOk() ? page : nullptr;
    }

    void forgetDevice() {
        device_.reset();
        colors_.reset();
    }

    RenderResult renderRows(const RenderRequest& request, Page& page,
                            const OutputProfile& profile) {
        const std::int64_t rowBytes = 4 * request.size.width;
        if (rowBytes > largestBitmap || !fitsMemory(request))
            return RenderFailure::tooLarge;
        const std::int64_t mostRows = largestBitmap / rowBytes;
        if (request.rowCount <= mostRows)
            return renderBand(request, page, profile);

        PixelBuffer whole =
            PixelBuffer::zeroed(static_cast<std::size_t>(rowBytes * request.rowCount));
        if (!whole.data())
            return RenderFailure::tooLarge;
        for (std::int64_t done = 0; done < request.rowCount; done += mostRows) {
            RenderRequest band = request;
            band.firstRow += done;
            band.rowCount = std::min(mostRows, request.rowCount - done);
            const RenderResult result = renderBand(band, page, profile);
            if (const auto* failure = std::get_if<RenderFailure>(&result))
                return *failure;
            const PixelBuffer& rows = std::get<PixelBuffer>(result);
            std::memcpy(whole.data() + done * rowBytes, rows.data(), rows.size());
        }
        return whole;
    }

    static bool fitsMemory(const RenderRequest& request) {
        const std::uint64_t available = availableMemory();
        const auto width = static_cast<std::uint64_t>(request.size.width);
        const auto rows = static_cast<std::uint64_t>(request.rowCount);
        if (available <= workingMemory)
            return false;
        return rows <=
               (available - workingMemory) / bytesPerPixel / std::max<std::uint64_t>(1, width);
    }

    RenderResult renderBand(const RenderRequest& request, Page& page,
                            const OutputProfile& profile) {
        const auto bytes = static_cast<std::size_t>(4 * request.size.width * request.rowCount);
        const Rectangle& visible = request.placement.visible;
        if (!(visible.width > 0) || !(visible.height > 0)) {
            PixelBuffer blank = PixelBuffer::zeroed(bytes);
            if (!blank.data())
                return RenderFailure::tooLarge;
            return blank;
        }
        if (profiles_ && !profiles_->output().isCopyOf(profile)) {
            forgetDevice();
            profiles_.reset();
        }
        if (!profiles_)
            profiles_ = std::make_unique<EmbeddedProfiles>(*document_, profile);
        if (const auto target = blendingTarget(page, *profiles_))
            return drawRGB(request, page, *target);
        const std::unique_ptr<SplashBitmap> bitmap =
            draw(request, page, Target{profile.profile(), false, "output"});
        if (!bitmap)
            return RenderFailure::tooLarge;
        return PixelBuffer(bitmap->takeData(), bytes);
    }

    /// The page as its group's RGB, then converted as one picture.
    RenderResult drawRGB(const RenderRequest& request, Page& page, const Target& target) {
        const auto converter = ColorConverter::create(target.profile, profiles_->output().profile(),
                                                      Intent::relativeColorimetric);
        const std::unique_ptr<SplashBitmap> bitmap =
            converter ? draw(request, page, target) : nullptr;
        const auto pixels = static_cast<std::size_t>(request.size.width * request.rowCount);
        PixelBuffer inks = bitmap ? PixelBuffer::zeroed(4 * pixels) : PixelBuffer();
        if (!inks.data())
            return converter ? RenderFailure::tooLarge : RenderFailure::failed;
        // By the size of the whole, so that bands do not differ.
        if (request.size.width * request.size.height >= ColorConverter::tableWorthwhile)
            converter->convertPixelsByTable(bitmap->getDataPtr(), inks.data(), pixels);
        else
            converter->convertPixels(bitmap->getDataPtr(), inks.data(), pixels);
        return inks;
    }

    /// The device that composites in `target`; one is kept, since hardly any document changes
    /// between several.
    Device& deviceFor(const Target& target) {
        if (device_ && colors_->target().name == target.name)
            return *device_;
        device_.reset();
        colors_ = std::make_unique<ColorManager>(*profiles_, target);
        SplashColor paper = {};
        if (target.isRGB)
            std::fill_n(paper, 3, 255);
        device_ = std::make_unique<Device>(*document_, *colors_, paper);
        return *device_;
    }

    /// Nothing when the memory for the bitmap cannot be had.
    std::unique_ptr<SplashBitmap> draw(const RenderRequest& request, Page& page,
                                       const Target& target) {
        Device& device = deviceFor(target);
        interpret(request, page, device);
        std::unique_ptr<SplashBitmap> bitmap(device.takeBitmap());
        // Poppler gives 1 × 1 in place of what it cannot have.
        if (!bitmap || !bitmap->getDataPtr() || bitmap->getWidth() != request.size.width ||
            bitmap->getHeight() != request.rowCount ||
            bitmap->getRowSize() != (target.isRGB ? 3 : 4) * request.size.width)
            return nullptr;
        return bitmap;
    }

    void interpret(const RenderRequest& request, Page& page, Device& device) {
        const Rectangle& window = request.placement.window;
        const Rectangle& visible = request.placement.visible;
        const double pixelWidth = window.width / static_cast<double>(request.size.width);
        const double pixelHeight = window.height / static_cast<double>(request.size.height);
        const double left = window.x + tieBreaker * pixelWidth;
        const double top = window.y + window.height - tieBreaker * pixelHeight -
                           static_cast<double>(request.firstRow) * pixelHeight;
        const PDFRectangle box(left, top - static_cast<double>(request.rowCount) * pixelHeight,
                               left + window.width, top);
        const PDFRectangle clip(visible.x, visible.y, visible.x + visible.width,
                                visible.y + visible.height);
        constexpr double pointsPerInch = 72;
        const double horizontal = pointsPerInch / pixelWidth;
        const double vertical = pointsPerInch / pixelHeight;
        Gfx interpreter(document_.get(), &device, request.page, page.getResourceDict(), horizontal,
                        vertical, &box, &clip, 0);
        Object contents = page.getContents();
        if (!contents.isNull())
            interpreter.display(&contents);
    }

    std::unique_ptr<PDFDoc> document_;
    int pageCount_;
    std::unique_ptr<EmbeddedProfiles> profiles_;
    std::unique_ptr<ColorManager> colors_;
    std::unique_ptr<Device> device_;
};

} // namespace

std::unique_ptr<PageRenderer> PopplerRenderer::open(const std::filesystem::path& url) {
    const PopplerCall call;
    std::error_code error;
    if (!std::filesystem::is_regular_file(url, error))
        return nullptr;
    auto document = std::make_unique<PDFDoc>(std::make_unique<GooString>(url.native()));
    if (!document->isOk() || document->getNumPages() < 1)
        return nullptr;
    return std::make_unique<Renderer>(std::move(document));
}

} // namespace Bleedwise
