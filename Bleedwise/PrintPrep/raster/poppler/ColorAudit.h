#pragma once

#include "PrintPrep/raster/PageRenderer.h"

#include <set>

#include <Annot.h>
#include <Gfx.h>
#include <GfxState.h>
#include <OutputDev.h>
#include <PDFDoc.h>
#include <Page.h>

namespace Bleedwise::Poppler {

/// Follows a page's contents and what its annotations print without drawing them, and notes which
/// colours they paint with.
///
/// A colour that is set but never painted with does not count, nor does one in a soft mask, whose
/// light is no colour on paper.
class ColorAudit final : public OutputDev {
public:
    static ForeignColor of(PDFDoc& document, Page& page, int number) {
        ColorAudit audit;
        constexpr double pointsPerInch = 72;
        const PDFRectangle* box = page.getMediaBox();
        Gfx interpreter(&document, &audit, number, page.getResourceDict(), pointsPerInch,
                        pointsPerInch, box, nullptr, 0, &hasFound, &audit);
        Object contents = page.getContents();
        if (!contents.isNull())
            interpreter.display(&contents);
        if (Annots* annotations = page.getAnnots()) {
            for (const Annot* annotation : annotations->getAnnots())
                follow(interpreter, *annotation);
        }
        return audit.found_;
    }

    bool upsideDown() override { return false; }
    bool useDrawChar() override { return true; }
    bool interpretType3Chars() override { return true; }
    bool useShadedFills(int /*type*/) override { return true; }
    bool useTilingPatternFill() override { return true; }

    void stroke(GfxState* state) override { note(state->getStrokeColorSpace()); }
    void fill(GfxState* state) override { note(state->getFillColorSpace()); }
    void eoFill(GfxState* state) override { note(state->getFillColorSpace()); }

    void drawChar(GfxState* state, double /*x*/, double /*y*/, double /*dx*/, double /*dy*/,
                  double /*originX*/, double /*originY*/, CharCode /*code*/, int /*nBytes*/,
                  const Unicode* /*text*/, int /*textLength*/) override {
        // Text rendering modes (ISO 32000-1, table 106): 3 and 7 paint nothing; without the clip,
        // 0 fills, 1 strokes and 2 does both.
        const int mode = state->getRender() % 4;
        if (mode == 0 || mode == 2)
            note(state->getFillColorSpace());
        if (mode == 1 || mode == 2)
            note(state->getStrokeColorSpace());
    }

    /// One cell, once, tells what all have: a page can hold millions.
    bool tilingPatternFill(GfxState* state, Gfx* interpreter, Catalog* /*catalog*/,
                           GfxTilingPattern* pattern, const double* matrix, int /*x0*/, int /*y0*/,
                           int /*x1*/, int /*y1*/, double /*xStep*/, double /*yStep*/) override {
        constexpr int uncolored = 2; // ISO 32000-1, table 75
        if (pattern->getPaintType() == uncolored)
            note(state->getFillColorSpace()); // by now the one below the pattern's
        else if (softMaskDepth_ == 0 && isNew(*pattern))
            interpreter->drawForm(pattern->getContentStream(), pattern->getResDict(), matrix,
                                  pattern->getBBox());
        return true;
    }

    bool functionShadedFill(GfxState* /*state*/, GfxFunctionShading* shading) override {
        return noteShading(*shading);
    }
    bool axialShadedFill(GfxState* /*state*/, GfxAxialShading* shading, double /*tMin*/,
                         double /*tMax*/) override {
        return noteShading(*shading);
    }
    bool radialShadedFill(GfxState* /*state*/, GfxRadialShading* shading, double /*sMin*/,
                          double /*sMax*/) override {
        return noteShading(*shading);
    }
    bool gouraudTriangleShadedFill(GfxState* /*state*/,
                                   GfxGouraudTriangleShading* shading) override {
        return noteShading(*shading);
    }
    bool patchMeshShadedFill(GfxState* /*state*/, GfxPatchMeshShading* shading) override {
        return noteShading(*shading);
    }

    void drawImageMask(GfxState* state, Object* reference, Stream* stream, int width, int height,
                       bool invert, bool interpolate, bool isInline) override {
        note(state->getFillColorSpace());
        OutputDev::drawImageMask(state, reference, stream, width, height, invert, interpolate,
                                 isInline);
    }
    void drawImage(GfxState* state, Object* reference, Stream* stream, int width, int height,
                   GfxImageColorMap* colors, bool interpolate, const int* maskColors,
                   bool isInline) override {
        note(colors->getColorSpace());
        // Leads past an inline image's data.
        OutputDev::drawImage(state, reference, stream, width, height, colors, interpolate,
                             maskColors, isInline);
    }
    void drawMaskedImage(GfxState* /*state*/, Object* /*reference*/, Stream* /*stream*/,
                         int /*width*/, int /*height*/, GfxImageColorMap* colors,
                         bool /*interpolate*/, Stream* /*mask*/, int /*maskWidth*/,
                         int /*maskHeight*/, bool /*maskInvert*/,
                         bool /*maskInterpolate*/) override {
        note(colors->getColorSpace());
    }
    void drawSoftMaskedImage(GfxState* /*state*/, Object* /*reference*/, Stream* /*stream*/,
                             int /*width*/, int /*height*/, GfxImageColorMap* colors,
                             bool /*interpolate*/, Stream* /*mask*/, int /*maskWidth*/,
                             int /*maskHeight*/, GfxImageColorMap* /*maskColors*/,
                             bool /*maskInterpolate*/) override {
        note(colors->getColorSpace());
    }

    void beginTransparencyGroup(GfxState* /*state*/, const double* /*bounds*/,
                                GfxColorSpace* /*blending*/, bool /*isolated*/, bool /*knockout*/,
                                bool forSoftMask) override {
        if (forSoftMask || softMaskDepth_ > 0)
            ++softMaskDepth_;
    }
    void endTransparencyGroup(GfxState* /*state*/) override {
        if (softMaskDepth_ > 0)
            --softMaskDepth_;
    }

private:
    /// An annotation without an appearance of its own is left out: what a viewer makes up is not in
    /// the document.
    static void follow(Gfx& interpreter, const Annot& annotation) {
        const unsigned flags = annotation.getFlags();
        Object appearance = annotation.getAppearance();
        if ((flags & Annot::flagPrint) == 0 || (flags & Annot::flagHidden) != 0 ||
            !appearance.isStream())
            return;
        const PDFRectangle box = annotation.getRect();
        interpreter.drawAnnot(&appearance, nullptr, nullptr, box.x1, box.y1, box.x2, box.y2, 0);
    }

    /// Poppler asks this between operators; there is no more to learn.
    static bool hasFound(void* audit) {
        return static_cast<const ColorAudit*>(audit)->found_ != ForeignColor::none;
    }

    /// Cells can paint with each other's patterns, and even with their own. Each is a stream and so
    /// has an object number.
    bool isNew(const GfxTilingPattern& pattern) {
        return patterns_.insert(pattern.getPatternRefNum()).second;
    }

    bool noteShading(GfxShading& shading) {
        note(shading.getColorSpace());
        return true;
    }

    void note(GfxColorSpace* space) {
        if (softMaskDepth_ == 0 && space && found_ == ForeignColor::none)
            found_ = foreign(*space);
    }

    static ForeignColor foreign(GfxColorSpace& space) {
        switch (space.getMode()) {
        case csDeviceGray:
        case csCalGray:
        case csDeviceCMYK:
        case csPattern: // whose cells and shadings are noted themselves
            return ForeignColor::none;
        case csDeviceRGB:
        case csCalRGB:
            return ForeignColor::rgb;
        case csICCBased:
            if (space.getNComps() != 3)
                return ForeignColor::none;
            return ForeignColor::rgb;
        case csIndexed:
            return foreign(*static_cast<GfxIndexedColorSpace&>(space).getBase());
        case csSeparation:
            return foreignSpot(static_cast<GfxSeparationColorSpace&>(space).getAlt());
        case csDeviceN:
            return foreignSpot(static_cast<GfxDeviceNColorSpace&>(space).getAlt());
        default:
            return ForeignColor::other;
        }
    }

    static ForeignColor foreignSpot(GfxColorSpace* alternate) {
        const bool isForeign = !alternate || foreign(*alternate) != ForeignColor::none;
        return isForeign ? ForeignColor::spot : ForeignColor::none;
    }

    ForeignColor found_ = ForeignColor::none;
    int softMaskDepth_ = 0;
    /// The object numbers of those whose cells have been followed.
    std::set<int> patterns_;
};

} // namespace Bleedwise::Poppler
