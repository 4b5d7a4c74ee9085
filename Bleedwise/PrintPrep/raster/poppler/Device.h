#pragma once

#include "PrintPrep/raster/poppler/ColorManager.h"
#include "PrintPrep/raster/poppler/GlyphPainter.h"
#include "PrintPrep/raster/poppler/GraphicsStateScan.h"
#include "PrintPrep/raster/poppler/HueBlending.h"
#include "PrintPrep/raster/poppler/ImagePainter.h"
#include "PrintPrep/raster/poppler/LentMemory.h"
#include "PrintPrep/raster/poppler/Matte.h"
#include "PrintPrep/raster/poppler/Shadings.h"
#include "PrintPrep/raster/poppler/SolidRectangle.h"
#include "PrintPrep/raster/poppler/TilingCell.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include <Gfx.h>
#include <GfxState.h>
#include <PDFDoc.h>
#include <SplashOutputDev.h>
#include <splash/Splash.h>
#include <splash/SplashBitmap.h>
#include <splash/SplashErrorCodes.h>
#include <splash/SplashPath.h>

/// The bitmap device.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

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

    /// Memory for the next page's pixels, if the page has this size, until `takeMemoryBack`.
    void lendMemory(std::uint8_t* pixels, int width, int height) {
        memory_.lend(pixels, width, height);
    }
    void takeMemoryBack() { memory_.takeBack(*this); }

    void startPage(int number, GfxState* state, XRef* table) override {
        const auto pixels = [](double size) {
            // NOLINTNEXTLINE(bugprone-incorrect-roundings): as Poppler has it
            return std::max(1, static_cast<int>(size + 0.5));
        };
        const auto previous =
            memory_.handOver(*this, pixels(state->getPageWidth()), pixels(state->getPageHeight()),
                             colors_.target().isRGB ? splashModeRGB8 : splashModeCMYK8);
        SplashOutputDev::startPage(number, state, table);
    }

    void endPage() override {
        if (colors_.target().isRGB)
            SplashOutputDev::endPage();
        // else `finishRows` lays them on paper
    }

    /// Copies rows of a finished CMYK page, unless they are where they are to go. Paper without ink
    /// shines through, rounded as Poppler does.
    void finishRows(std::int64_t first, std::int64_t count, std::uint8_t* rows) {
        SplashBitmap& page = *getBitmap();
        const auto width = static_cast<std::size_t>(page.getWidth());
        for (std::int64_t y = first; y < first + count; ++y, rows += 4 * width) {
            const std::uint8_t* drawn = page.getDataPtr() + y * page.getRowSize();
            if (drawn != rows)
                std::memcpy(rows, drawn, 4 * width);
            layOnBlankPaper(page.getAlphaPtr() + y * page.getAlphaRowSize(), width, rows);
        }
    }

    /// Whether, since the last call, something was painted that may look different when other rows
    /// are drawn with it. Poppler's own shadings begin at the uppermost row that the clip lets
    /// through: their colours are taken at steps from there, and it depends on rounding whether the
    /// row's ends are smoothed.
    bool takeDependsOnRows() { return std::exchange(dependsOnRows_, false); }
    bool dependsOnRows() const { return dependsOnRows_; }

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

    void updateBlendMode(GfxState* state) override {
        SplashOutputDev::updateBlendMode(state);
        if (state->getBlendMode() == gfxBlendHue)
            getSplash()->setBlendFunc(blendHue);
        else if (state->getBlendMode() == gfxBlendSaturation)
            getSplash()->setBlendFunc(blendSaturation);
    }

    void fill(GfxState* state) override {
        followFillIntent(state);
        const AddedInks added = addedFill(state);
        if (!fillSolidRectangle(*state, *getSplash(), colors_.target().isRGB))
            SplashOutputDev::fill(state);
    }
    void eoFill(GfxState* state) override {
        followFillIntent(state);
        const AddedInks added = addedFill(state);
        if (!fillSolidRectangle(*state, *getSplash(), colors_.target().isRGB))
            SplashOutputDev::eoFill(state);
    }
    void stroke(GfxState* state) override {
        followStrokeIntent(state);
        const double width = state->getLineWidth();
        if (width == 0 && samplesPerPixel_ > 1)
            setLineWidth(*state, pagePixel(*state));
        {
            const AddedInks added = addedStroke(state);
            SplashOutputDev::stroke(state);
        }
        if (state->getLineWidth() != width)
            setLineWidth(*state, width);
    }
    void drawChar(GfxState* state, double x, double y, double dx, double dy, double originX,
                  double originY, CharCode code, int bytes, const Unicode* text,
                  int length) override {
        followFillIntent(state);
        followStrokeIntent(state);
        if (groupDepth_ == 0 && glyphs_.paint(*state, *getSplash(), getCurrentFont(), x - originX,
                                              y - originY, code, colors_.target().isRGB))
            return;
        constexpr int renderMode = 3;
        constexpr int strokeOnly = 1; // ISO 32000-1, table 106
        const AddedInks added =
            (state->getRender() & renderMode) == strokeOnly ? addedStroke(state) : addedFill(state);
        SplashOutputDev::drawChar(state, x, y, dx, dy, originX, originY, code, bytes, text, length);
        glyphs_.noteFont(*state);
    }
    void drawImageMask(GfxState* state, Object* reference, Stream* stream, int width, int height,
                       bool invert, bool interpolate, bool isInline) override {
        followFillIntent(state);
        const AddedInks added = addedFill(state);
        SplashOutputDev::drawImageMask(state, reference, stream, width, height, invert, interpolate,
                                       isInline);
    }

    void drawImage(GfxState* state, Object* reference, Stream* stream, int width, int height,
                   GfxImageColorMap* map, bool interpolate, const int* maskColors,
                   bool isInline) override {
        const auto replaced = managedMap(state, *stream, width, height, *map);
        GfxImageColorMap* used = replaced ? replaced.get() : map;
        if (!maskColors && !isInline &&
            paintImage(*state, *getSplash(), colors_.target().isRGB, *stream, width, height, *used,
                       interpolate))
            return;
        const AddedInks added = addedImage(state, replaced.get());
        SplashOutputDev::drawImage(state, reference, stream, width, height, used, interpolate,
                                   maskColors, isInline);
    }
    void drawMaskedImage(GfxState* state, Object* reference, Stream* stream, int width, int height,
                         GfxImageColorMap* map, bool interpolate, Stream* mask, int maskWidth,
                         int maskHeight, bool maskInvert, bool maskInterpolate) override {
        const auto replaced = managedMap(state, *stream, width, height, *map);
        const AddedInks added = addedImage(state, replaced.get());
        SplashOutputDev::drawMaskedImage(state, reference, stream, width, height,
                                         replaced ? replaced.get() : map, interpolate, mask,
                                         maskWidth, maskHeight, maskInvert, maskInterpolate);
    }
    void drawSoftMaskedImage(GfxState* state, Object* reference, Stream* stream, int width,
                             int height, GfxImageColorMap* map, bool interpolate, Stream* mask,
                             int maskWidth, int maskHeight, GfxImageColorMap* maskMap,
                             bool maskInterpolate) override {
        auto replaced = managedMap(state, *stream, width, height, *map);
        GfxImageColorMap* used = replaced ? replaced.get() : map;
        const auto unmatted =
            UnmattedImage::of(*stream, width, height, *map, *mask, maskWidth, maskHeight, *maskMap);
        const AddedInks added = addedImage(state, used);
        if (!unmatted) {
            SplashOutputDev::drawSoftMaskedImage(state, reference, stream, width, height, used,
                                                 interpolate, mask, maskWidth, maskHeight, maskMap,
                                                 maskInterpolate);
            return;
        }
        const auto colors = unmatted->colors();
        const auto alphas = unmatted->mask();
        const auto bytesMap = byteMap(*used);
        Object decode(objNull);
        GfxImageColorMap alphaMap(8, &decode, new GfxDeviceGrayColorSpace());
        SplashOutputDev::drawSoftMaskedImage(state, reference, colors.get(), width, height,
                                             bytesMap.get(), interpolate, alphas.get(), maskWidth,
                                             maskHeight, &alphaMap, maskInterpolate);
    }

    /// What lies below has no part in a soft mask, so its group counts as isolated (ISO 32000-1,
    /// 11.5), and only then does Poppler draw it in the group's own space. Web browsers leave that
    /// space out; as the mask was made on a screen, its luminosity is that of RGB.
    void beginTransparencyGroup(GfxState* state, const double* box, GfxColorSpace* space,
                                bool isolated, bool knockout, bool forSoftMask) override {
        ++groupDepth_;
        SplashOutputDev::beginTransparencyGroup(state, box,
                                                forSoftMask && !space ? &maskSpace_ : space,
                                                isolated || forSoftMask, knockout, forSoftMask);
    }
    void endTransparencyGroup(GfxState* state) override {
        SplashOutputDev::endTransparencyGroup(state);
        --groupDepth_;
    }

    /// Paints in any case: where the interpreter is left to draw each cell, it counts without
    /// bound.
    bool tilingPatternFill(GfxState* state, Gfx* gfx, Catalog* catalog, GfxTilingPattern* pattern,
                           const double* matrix, int x0, int y0, int x1, int y1, double xStep,
                           double yStep) override {
        if (isNested(*pattern))
            return true;
        const auto grid = CellGrid::of(*state, *pattern, matrix, xStep, yStep);
        const auto pixels = ClippedPixels::of(*state, *getBitmap());
        if (!grid || pixels.isEmpty())
            return true;
        const double count = (static_cast<double>(x1) - x0) * (static_cast<double>(y1) - y0);
        const bool mayDrawEach = count <= mostCellsOneByOne;
        const CellTexture* texture = nullptr;
        if (!mayDrawEach || !(showOneCell(pixels, *grid) || needsBackdrop(*state, *pattern)))
            texture = cellTexture(*pattern, *grid, xStep, yStep);
        if (texture) {
            getSplash()->setOverprintMask(allInks, false);
            coverWithCells(*getSplash(), pixels, *grid, *texture, pattern->getPaintType() == 1);
        } else if (mayDrawEach) {
            drawCells(*state, *gfx, *pattern, matrix, {x0, y0, x1, y1}, xStep, yStep);
        } else {
            SplashOutputDev::tilingPatternFill(state, gfx, catalog, pattern, matrix, x0, y0, x1, y1,
                                               xStep, yStep);
        }
        return true;
    }

    bool functionShadedFill(GfxState* state, GfxFunctionShading* shading) override {
        const auto managed = managedSpace(state, *shading);
        const auto toDomain = UserSpace::of(shading->getMatrix());
        if (toDomain &&
            fillShading(state, *shading, [&](const UserSpace& toUser, SplashColorMode mode) {
                return FunctionPattern(*shading, toUser, *toDomain, mode);
            }))
            return true;
        dependsOnRows_ = true;
        return SplashOutputDev::functionShadedFill(state, shading);
    }
    bool axialShadedFill(GfxState* state, GfxAxialShading* shading, double first,
                         double last) override {
        const auto managed = managedSpace(state, *shading);
        if (fillRamp(state, *shading, AxialPosition(*shading)))
            return true;
        dependsOnRows_ = true;
        return SplashOutputDev::axialShadedFill(state, shading, first, last);
    }
    bool radialShadedFill(GfxState* state, GfxRadialShading* shading, double first,
                          double last) override {
        const auto managed = managedSpace(state, *shading);
        if (fillRamp(state, *shading, RadialPosition(*shading)))
            return true;
        dependsOnRows_ = true;
        return SplashOutputDev::radialShadedFill(state, shading, first, last);
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

    /// Most pixels are either bare or opaque, which is seen by many at a time.
    static void layOnBlankPaper(const unsigned char* alphas, std::size_t width, std::uint8_t* row) {
        std::array<std::uint64_t, 8> words;
        std::size_t x = 0;
        for (; x + sizeof words <= width; x += sizeof words) {
            std::memcpy(words.data(), alphas + x, sizeof words);
            std::uint64_t between = 0; // not 0 where neighbouring bits of a byte differ
            for (const std::uint64_t word : words)
                between |= (word ^ word >> 1U) & 0x7f7f7f7f7f7f7f7fU;
            if (between != 0)
                layPixelsOnBlankPaper(alphas + x, sizeof words, row + 4 * x);
        }
        layPixelsOnBlankPaper(alphas + x, width - x, row + 4 * x);
    }

    /// `count` is 64 at most.
    static void layPixelsOnBlankPaper(const unsigned char* alphas, std::size_t count,
                                      std::uint8_t* pixels) {
        std::array<std::uint32_t, 64> factors; // four bytes for each pixel
        for (std::size_t x = 0; x < count; ++x) {
            // What is bare stays what it is.
            const auto alpha = static_cast<unsigned char>(alphas[x] == 0 ? 255 : alphas[x]);
            factors[x] = alpha * 0x01010101U;
        }
        const auto* factor = reinterpret_cast<const unsigned char*>(factors.data());
        for (std::size_t i = 0; i < 4 * count; ++i)
            pixels[i] = static_cast<std::uint8_t>(dividedBy255(unsigned{factor[i]} * pixels[i]));
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

    /// Adds the inks of a spot colour to those below, as long as it lives, where it overprints.
    /// Poppler does so with its own spot colours only, and not in shadings.
    class AddedInks {
    public:
        AddedInks(Device& device, GfxState* state, const GfxColorSpace* space, bool overprints)
            : device_(device), state_(state),
              adds_(overprints &&
                    addsTo(device, *state, dynamic_cast<const ManagedColorSpace*>(space))) {
            if (adds_)
                device.getSplash()->setBlendFunc(addInks);
        }
        AddedInks(const AddedInks&) = delete;
        AddedInks& operator=(const AddedInks&) = delete;
        ~AddedInks() {
            if (adds_)
                device_.updateBlendMode(state_);
        }

    private:
        static bool addsTo(Device& device, const GfxState& state, const ManagedColorSpace* space) {
            return space && space->overprint() == Overprint::adding &&
                   state.getBlendMode() == gfxBlendNormal &&
                   device.getBitmap()->getMode() == splashModeCMYK8;
        }

        static void addInks(SplashColorPtr source, SplashColorPtr backdrop, SplashColorPtr result,
                            SplashColorMode /*mode*/) {
            for (int i = 0; i < 4; ++i)
                result[i] = static_cast<unsigned char>(std::min(255, source[i] + backdrop[i]));
        }

        Device& device_;
        GfxState* state_;
        bool adds_;
    };

    AddedInks addedFill(GfxState* state) {
        return AddedInks(*this, state, state->getFillColorSpace(), state->getFillOverprint());
    }
    AddedInks addedStroke(GfxState* state) {
        return AddedInks(*this, state, state->getStrokeColorSpace(), state->getStrokeOverprint());
    }
    AddedInks addedImage(GfxState* state, GfxImageColorMap* map) {
        return AddedInks(*this, state, map ? map->getColorSpace() : nullptr,
                         state->getFillOverprint());
    }

    /// A spot colour with process colours that overprints leaves alone the inks that its alternate
    /// does without.
    static void overprintByInks(GfxColorSpace* space, const GfxColor& color) {
        auto* managed = dynamic_cast<ManagedColorSpace*>(space);
        if (!managed || managed->overprint() != Overprint::replacingItsInks)
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
        return replaced;
    }

    /// The same for samples of a byte each.
    std::unique_ptr<GfxImageColorMap> byteMap(GfxImageColorMap& map) {
        Object decode = decodeArray(map, *map.getColorSpace());
        return std::make_unique<GfxImageColorMap>(8, &decode, map.getColorSpace()->copy());
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

    template <typename Position>
    bool fillRamp(GfxState* state, GfxUnivariateShading& shading, const Position& position) {
        return position.isUsable() &&
               fillShading(state, shading, [&](const UserSpace& toUser, SplashColorMode mode) {
                   return RampPattern<Position>(position, shading, toUser, mode);
               });
    }

    /// Fills the clip with a shading's pattern; false when user space has no extent. Process
    /// colours replace what is there, whatever the overprint mode, which is not for shadings (ISO
    /// 32000-1, 8.6.7).
    template <typename MakePattern>
    bool fillShading(GfxState* state, GfxShading& shading, const MakePattern& makePattern) {
        const auto toUser = UserSpace::of(*state);
        const auto* space = dynamic_cast<const ManagedColorSpace*>(shading.getColorSpace());
        const bool isSpot = space && space->overprint() != Overprint::replacing;
        const bool overprints = state->getFillOverprint() && isSpot;
        if (!toUser)
            return false;

        auto pattern = makePattern(*toUser, getBitmap()->getMode());
        SplashPath path = shadedRegion(state, shading, *toUser);
        const bool antialias = getVectorAntialias();
        setVectorAntialias(true); // the interpreter has switched it off for shadings
        getSplash()->setOverprintMask(allInks, false);
        // With mode 1 Splash spares the inks that a pixel does without.
        getSplash()->setOverprintMode(overprints ? 1 : 0);
        const AddedInks added(*this, state, space, overprints);
        // A stroke's pattern means that the clip is the stroke.
        const bool done = getSplash()->shadedFill(&path, shading.getHasBBox(), &pattern,
                                                  state->getStrokePattern() != nullptr) == splashOk;
        getSplash()->setOverprintMode(state->getOverprintMode());
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
            // Not quite to the pixels' edges: rounding on the way to user space and back would
            // decide whether the next row counts as the first.
            constexpr double inwards = 0x1p-10;
            left = std::floor(left) + inwards;
            top = std::floor(top) + inwards;
            right = std::ceil(right) - inwards;
            bottom = std::ceil(bottom) - inwards;
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
        auto space = colors_.managedShading(*shading.getColorSpace(), intentOf(state),
                                            state->getFillOverprint());
        return space ? std::make_unique<ShadingSpace>(shading, std::move(space)) : nullptr;
    }

    /// A device for cells of patterns that another device draws.
    Device(const Device& outer, int samplesPerPixel, int pattern)
        : Device(outer.document_, outer.colors_, nullptr) {
        outer_ = &outer;
        samplesPerPixel_ = samplesPerPixel;
        pattern_ = pattern;
    }

    void setLineWidth(GfxState& state, double width) {
        state.setLineWidth(width);
        updateLineWidth(&state);
    }

    /// A pixel of the page in user space.
    double pagePixel(const GfxState& state) const {
        const double* ctm = state.getCTM();
        return samplesPerPixel_ / std::sqrt(std::abs(ctm[0] * ctm[3] - ctm[1] * ctm[2]));
    }

    /// Whether the pattern is in its own cell, or in that of too many others.
    bool isNested(const GfxTilingPattern& pattern) const {
        constexpr int deepest = 16;
        int depth = 0;
        for (const Device* device = this; device->outer_; device = device->outer_) {
            if (device->pattern_ == pattern.getPatternRefNum() || ++depth == deepest)
                return true;
        }
        return false;
    }

    /// Whether what is below decides about the cells' colours.
    bool needsBackdrop(GfxState& state, GfxTilingPattern& pattern) {
        return state.getFillOverprint() || GraphicsStateScan(blends).finds(pattern.getResDict()) ||
               GraphicsStateScan(overprints).finds(pattern.getResDict());
    }

    /// The pattern's cell; nothing when the bitmap is not of the device's own kind, as in some soft
    /// masks, or when the cell is too large or reaches too far into others.
    const CellTexture* cellTexture(GfxTilingPattern& pattern, const CellGrid& grid, double xStep,
                                   double yStep) {
        const auto samples = CellSamples::of(grid);
        if (!samples ||
            getBitmap()->getMode() != (colors_.target().isRGB ? splashModeRGB8 : splashModeCMYK8))
            return nullptr;
        const int number = pattern.getPatternRefNum();
        if (texture_ && number >= 0 && texturePattern_ == number && texture_->samples() == *samples)
            return texture_.get();
        const std::unique_ptr<SplashBitmap> cell = drawCell(pattern, *samples, xStep, yStep);
        if (!cell || !cell->getDataPtr() || !cell->getAlphaPtr() ||
            cell->getWidth() != samples->across || cell->getHeight() != samples->down)
            return nullptr;
        texture_ = std::make_unique<CellTexture>(*cell, *samples);
        texturePattern_ = number;
        return texture_.get();
    }

    /// A cell with what others bring into it.
    std::unique_ptr<SplashBitmap> drawCell(GfxTilingPattern& pattern, const CellSamples& samples,
                                           double xStep, double yStep) {
        constexpr double rounding = 1e-3;
        const double* box = pattern.getBBox();
        const double columns = std::ceil((box[2] - box[0]) / xStep - rounding);
        const double rows = std::ceil((box[3] - box[1]) / yStep - rounding);
        constexpr double mostCells = 64;
        if (!(columns * rows <= mostCells))
            return nullptr;
        Device device(*this, std::min(samples.perPixelAcross, samples.perPixelDown),
                      pattern.getPatternRefNum());
        {
            constexpr double pointsPerInch = 72;
            const PDFRectangle sides(box[0], box[1], box[0] + xStep, box[1] + yStep);
            Gfx interpreter(&document_, &device, 0, nullptr, pointsPerInch * samples.across / xStep,
                            pointsPerInch * samples.down / yStep, &sides, nullptr, 0);
            for (int row = 1 - static_cast<int>(rows); row <= 0; ++row) {
                for (int column = 1 - static_cast<int>(columns); column <= 0; ++column) {
                    const std::array place = {1., 0., 0., 1., column * xStep, row * yStep};
                    interpreter.drawForm(pattern.getContentStream(), pattern.getResDict(),
                                         place.data(), box);
                }
            }
        }
        return std::unique_ptr<SplashBitmap>(device.takeBitmap());
    }

    /// Draws every cell from (x0, y0) up to (x1, y1) where it belongs.
    void drawCells(GfxState& state, Gfx& gfx, GfxTilingPattern& pattern, const double* matrix,
                   const CellRange& cells, double xStep, double yStep) {
        resetLines(state);
        const bool isPlain = state.getFillOpacity() == 1 &&
                             state.getBlendMode() == gfxBlendNormal && !getSplash()->getSoftMask();
        for (int y = cells.y0; y < cells.y1; ++y) {
            for (int x = cells.x0; x < cells.x1; ++x) {
                const double right = x * xStep;
                const double up = y * yStep;
                std::array<double, 6> place{};
                std::copy_n(matrix, 4, place.data());
                place[4] = right * matrix[0] + up * matrix[2] + matrix[4];
                place[5] = right * matrix[1] + up * matrix[3] + matrix[5];
                gfx.drawForm(pattern.getContentStream(), pattern.getResDict(), place.data(),
                             pattern.getBBox(), !isPlain);
            }
        }
    }

    /// A cell starts from the page's graphics state (ISO 32000-1, 8.7.3.1), of which the
    /// interpreter gives it the colours alone; afterwards it takes all back.
    void resetLines(GfxState& state) {
        constexpr double defaultMiterLimit = 10; // ISO 32000-1, table 52
        state.setLineDash({}, 0);
        state.setLineJoin(0);
        state.setLineCap(0);
        state.setMiterLimit(defaultMiterLimit);
        updateLineDash(&state);
        updateLineJoin(&state);
        updateLineCap(&state);
        updateMiterLimit(&state);
        setLineWidth(state, 1);
    }

    static constexpr unsigned allInks = 0xffffffff;
    static constexpr double mostCellsOneByOne = 100'000;

    PDFDoc& document_;
    ColorManager& colors_;
    GfxDeviceRGBColorSpace maskSpace_;
    LentMemory memory_;
    bool dependsOnRows_ = false;

    GlyphPainter glyphs_;
    int groupDepth_ = 0;

    /// Of a device for cells.
    const Device* outer_ = nullptr;
    int samplesPerPixel_ = 1;
    int pattern_ = -1;

    std::unique_ptr<CellTexture> texture_; // the last one
    int texturePattern_ = -1;
};

} // namespace Bleedwise::Poppler
