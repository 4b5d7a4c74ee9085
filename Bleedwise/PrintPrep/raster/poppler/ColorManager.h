#pragma once

#include "PrintPrep/raster/ConverterCache.h"
#include "PrintPrep/raster/OutputProfile.h"
#include "PrintPrep/raster/poppler/Definitions.h"

#include <algorithm>
#include <array>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <GfxState.h>
#include <PDFDoc.h>

/// Which conversion each colour space of a document gets.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

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

    /// The same for a shading. A spot colour over process colours, which may be left to Poppler
    /// elsewhere, is replaced too where it overprints: Poppler paints no such shading at all.
    std::unique_ptr<GfxColorSpace> managedShading(const GfxColorSpace& space, Intent intent,
                                                  bool overprints) {
        auto replaced = managed(space, intent, Effort::remembered);
        if (replaced || !overprints || target_.isRGB || space.isNonMarking())
            return replaced;
        auto& original = const_cast<GfxColorSpace&>(space);
        if (space.getMode() == csSeparation) {
            auto& separation = static_cast<GfxSeparationColorSpace&>(original);
            return spotInks(space, *separation.getFunc(), *separation.getAlt(), intent,
                            Overprint::adding);
        }
        if (space.getMode() == csDeviceN) {
            auto& deviceN = static_cast<GfxDeviceNColorSpace&>(original);
            return spotInks(space, *deviceN.getTintTransformFunc(), *deviceN.getAlt(), intent,
                            Overprint::adding);
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
        return tint(space, *space.getFunc(), *space.getAlt(), intent, effort, Overprint::adding);
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
        const Function& function = *space.getTintTransformFunc();
        const bool isMixed =
            std::any_of(inks.begin(), inks.end(), [](unsigned ink) { return ink; });
        const Overprint overprint = isMixed ? Overprint::replacingItsInks : Overprint::adding;
        auto replaced = tint(space, function, *space.getAlt(), intent, effort, overprint);
        // Poppler adds a spot colour that overprints to what is below, but not together with
        // process colorants.
        if (replaced || target_.isRGB || !isMixed)
            return replaced;
        return spotInks(space, function, *space.getAlt(), intent, overprint);
    }

    std::unique_ptr<GfxColorSpace> tint(const GfxColorSpace& space, const Function& function,
                                        const GfxColorSpace& alternate, Intent intent,
                                        Effort effort, Overprint overprint) {
        // The tints of an image's pixels arrive one by one.
        auto replaced =
            managed(alternate, intent, effort == Effort::precise ? effort : Effort::remembered);
        if (!replaced)
            return nullptr;
        return wrap(std::make_shared<TintDefinition>(space, function, std::move(replaced),
                                                     target_.isRGB, overprint),
                    intent);
    }

    /// A spot colour over a space that needs no management.
    std::unique_ptr<GfxColorSpace> spotInks(const GfxColorSpace& space, const Function& function,
                                            GfxColorSpace& alternate, Intent intent,
                                            Overprint overprint) const {
        return wrap(std::make_shared<TintDefinition>(
                        space, function, std::unique_ptr<GfxColorSpace>(alternate.copy()),
                        target_.isRGB, overprint),
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

} // namespace Bleedwise::Poppler
