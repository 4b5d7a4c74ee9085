#include "PrintPrep/PrintSettings.h"

#include "PrintPrep/Format.h"

namespace Bleedwise {

std::string PrintSettings::fileNameSuffix() const {
    if (!useGhostscript)
        return " (CMYK raster)";
    return "_PRINT_" + Format::mm(trimWidthMM) + "x" + Format::mm(trimHeightMM) + "_" +
           Format::mm(bleedMM) + "mm_FOGRA39_CMYK";
}

} // namespace Bleedwise
