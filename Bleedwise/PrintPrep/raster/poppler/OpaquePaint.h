#pragma once

#include <GfxState.h>
#include <splash/Splash.h>
#include <splash/SplashBitmap.h>
#include <splash/SplashPattern.h>

/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// A product of two parts of 255 as a part of 255, rounded as Poppler does.
inline unsigned dividedBy255(unsigned product) {
    return (product + (product >> 8U) + 0x80U) >> 8U;
}

/// Whether filling now replaces what is there by one colour of the bitmap.
inline bool paintsOpaque(GfxState& state, Splash& splash, bool isRGB) {
    return splash.getBitmap()->getMode() == (isRGB ? splashModeRGB8 : splashModeCMYK8) &&
           splash.getFillPattern()->isStatic() && splash.getFillAlpha() == 1 &&
           !splash.getSoftMask() && !splash.getBlendFunc() && !state.getFillOverprint() &&
           !state.getTransfer()[0] && !state.getFillColorSpace()->isNonMarking();
}

} // namespace Bleedwise::Poppler
