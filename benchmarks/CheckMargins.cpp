// Prints how far each page of native results is from what it should look like, and how far it would
// be if something were wrong with it, all as parts of what a right page may have:
//
//   check-margins PROFILE INPUT OUTPUT WIDTH HEIGHT BLEED includes-bleed|trim-only
//
// "place", "side" and "page" are the page as it is; then come its largest measures when it is moved
// by 2 mm to the right, moved down, made smaller by 2 per cent, mirrored, and blank. Pages that are
// turned on their sheet are measured as if they were not. The last line is what the check makes of
// the whole result, whose page boxes need not be set.

#include "PrintPrep/NativeResultCheck.h"
#include "PrintPrep/raster/HelperRenderer.h"
#include "PrintPrep/raster/PageComparison.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace {

using namespace Bleedwise;

std::optional<PageView> viewOf(PageRenderer& document, int page,
                               const PageGeometry::Placement& placement,
                               const PrintSettings& settings, const OutputProfile& profile) {
    const PixelSize size = PageViews::size(settings);
    const RenderResult result =
        document.render({page, size, placement, 0, size.height, {}}, profile);
    if (const auto* pixels = std::get_if<PixelBuffer>(&result))
        return PageView(size, *pixels);
    return std::nullopt;
}

void printPage(PageRenderer& input, PageRenderer& output, int page, const PrintSettings& settings,
               const OutputProfile& profile) {
    const auto description = input.describe(page);
    if (!description)
        return;
    const auto placement = PageGeometry::place(description->mediaBox, settings);
    const Rectangle sheet = PageGeometry::sheet(settings);
    const auto expected = viewOf(input, page, placement, settings, profile);
    const auto found = viewOf(output, page, {sheet, sheet}, settings, profile);
    if (!expected || !found) {
        std::printf(" cannot be drawn\n");
        return;
    }
    const auto frame = PageComparison::frame(placement, description->annotations, settings);
    const auto is = PageComparison::measure(*expected, *found, frame);
    std::printf(" place %.2f side %.2f page %.2f |", is.place, is.side, is.page);
    const double shift = 2 / frame.pixelMM;
    const PageView wrong[] = {found->moved(1, shift, 0), found->moved(1, 0, shift),
                              found->moved(0.98, 0, 0), found->mirrored(), found->moved(1, 1e6, 0)};
    for (const PageView& view : wrong)
        std::printf(" %.2f", PageComparison::measure(*expected, view, frame).largest());
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 8) {
        std::fprintf(stderr, "usage: check-margins PROFILE INPUT OUTPUT WIDTH HEIGHT BLEED "
                             "includes-bleed|trim-only\n");
        return EXIT_FAILURE;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const auto profile =
        OutputProfile::fromBytes(std::string(std::istreambuf_iterator<char>(file), {}));
    const auto input = HelperRenderer::open(argv[2]);
    const auto output = HelperRenderer::open(argv[3]);
    if (!profile || !input || !output) {
        std::fprintf(stderr, "%s: cannot be read\n", argv[2]);
        return EXIT_FAILURE;
    }
    const PrintSettings settings = {std::strtod(argv[4], nullptr), std::strtod(argv[5], nullptr),
                                    std::strtod(argv[6], nullptr),
                                    std::string_view(argv[7]) == "includes-bleed", true};
    for (int page = 1; page <= std::min(input->pageCount(), output->pageCount()); ++page) {
        std::printf("%s %s page %d:", argv[2], argv[7], page);
        printPage(*input, *output, page, settings, *profile);
    }
    NativeResultCheck check(argv[2], argv[1], settings);
    std::printf("%s %s: %s\n", argv[2], argv[7], check.fault(argv[3]).value_or("right").c_str());
    return EXIT_SUCCESS;
}
