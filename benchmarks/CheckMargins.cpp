// Prints how far each page of native results is from what it should look like, and how far it would
// be if something were wrong with it, all as parts of what a right page may have:
//
//   check-margins PROFILE INPUT OUTPUT WIDTH HEIGHT BLEED includes-bleed|trim-only
//
// "place", "detail", "tint", "side" and "page" are the page as it is; then come its largest
// measures when it is moved by 2 mm to the right, moved down, made smaller by 2 per cent, mirrored,
// and blank; when a few lines of black, and of white, small print are missing from where it has
// most room, with 50 per cent of magenta on all of it; and when a tint of 4 per cent is missing
// from all of it. Pages that are turned on their sheet are measured as if they were not. The last
// line is what the check makes of the whole result, whose page boxes need not be set.

#include "PrintPrep/NativeResultCheck.h"
#include "PrintPrep/raster/HelperRenderer.h"
#include "PrintPrep/raster/PageComparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
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

/// Another picture, whose pixels come from `light(x, y, light before)`.
template <typename Light>
PageView repainted(const PageView& view, Light light) {
    std::array<PageView::Plane, 3> planes = view.planes();
    for (PageView::Plane& plane : planes) {
        std::size_t index = 0;
        for (std::ptrdiff_t y = 0; y < view.height(); ++y) {
            for (std::ptrdiff_t x = 0; x < view.width(); ++x, ++index)
                plane[index] = static_cast<std::uint8_t>(std::lround(light(x, y, plane[index])));
        }
    }
    return {view.width(), view.height(), std::move(planes)};
}

/// How much of a span of the page, in mm, is covered by bars of a length that begin anew after each
/// period.
double coverage(double begin, double end, double period, double length) {
    const auto before = [&](double place) {
        const double periods = std::floor(place / period);
        return periods * length + std::min(length, place - periods * period);
    };
    return (before(end) - before(begin)) / (end - begin);
}

/// How uneven a part of a page is.
double unevenness(const PageView& view, const PageComparison::Area& area) {
    double sum = 0;
    for (const PageView::Plane& plane : view.planes()) {
        for (std::ptrdiff_t y = area.top; y < area.bottom; ++y) {
            const std::uint8_t* row = plane.data() + y * view.width();
            for (std::ptrdiff_t x = area.left + 1; x < area.right; ++x)
                sum += std::abs(row[x] - row[x - 1]);
        }
    }
    return sum;
}

/// Where a page has the most room for something so large, in tenths of what is left of it.
PageComparison::Area evenestPart(const PageView& view, const PageComparison::Area& page,
                                 std::ptrdiff_t width, std::ptrdiff_t height) {
    constexpr std::ptrdiff_t steps = 10;
    PageComparison::Area best;
    double least = std::numeric_limits<double>::infinity();
    for (std::ptrdiff_t down = 0; down <= steps; ++down) {
        for (std::ptrdiff_t across = 0; across <= steps; ++across) {
            const std::ptrdiff_t left =
                page.left + (page.right - page.left - width) * across / steps;
            const std::ptrdiff_t top = page.top + (page.bottom - page.top - height) * down / steps;
            const PageComparison::Area area = {left, top, left + width, top + height};
            const double sum = unevenness(view, area);
            if (sum < least) {
                least = sum;
                best = area;
            }
        }
    }
    return best;
}

/// All of a page under 50 per cent of magenta.
PageView underMagenta(const PageView& view) {
    std::array<PageView::Plane, 3> planes = view.planes();
    for (std::uint8_t& light : planes[1])
        light /= 2;
    return {view.width(), view.height(), std::move(planes)};
}

/// A page that has five lines of 6 point in ink that leaves so much light, where there is most room
/// for them, 50 mm wide if the page is: 2.5 mm from line to line, letters of 1.1 mm that cover
/// almost half of that, and words of 5 mm.
PageView withSmallPrint(const PageView& view, const PageComparison::Frame& frame, double print) {
    constexpr double lines = 5;
    constexpr double leadingMM = 2.5;
    constexpr double letterMM = 1.1;
    constexpr double letterInk = 0.45;
    constexpr double widthMM = 50;
    constexpr double wordMM = 6;
    constexpr double lettersOfWordMM = 5;
    const auto pixels = [&](double millimetres) {
        return static_cast<std::ptrdiff_t>(millimetres / frame.pixelMM);
    };
    const PageComparison::Area& page = frame.page;
    const PageComparison::Area area =
        evenestPart(view, page, std::min(pixels(widthMM), page.right - page.left),
                    std::min(pixels(lines * leadingMM), page.bottom - page.top));
    return repainted(view, [&](std::ptrdiff_t x, std::ptrdiff_t y, double light) {
        if (!area.contains(x, y))
            return light;
        const double across = static_cast<double>(x - area.left) * frame.pixelMM;
        const double down = static_cast<double>(y - area.top) * frame.pixelMM;
        const double ink = letterInk *
                           coverage(across, across + frame.pixelMM, wordMM, lettersOfWordMM) *
                           coverage(down, down + frame.pixelMM, leadingMM, letterMM);
        return light + ink * (print - light);
    });
}

/// A page on which all lies on a tint of 4 per cent of black.
PageView withTint(const PageView& view) {
    constexpr double left = 0.96;
    return repainted(view, [](auto, auto, double light) { return left * light; });
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
    std::printf(" place %.2f detail %.2f tint %.2f side %.2f page %.2f |", is.place, is.detail,
                is.tint, is.side, is.page);
    const double shift = 2 / frame.pixelMM;
    const PageView wrong[] = {found->moved(1, shift, 0), found->moved(1, 0, shift),
                              found->moved(0.98, 0, 0), found->mirrored(), found->moved(1, 1e6, 0)};
    for (const PageView& view : wrong)
        std::printf(" %.2f", PageComparison::measure(*expected, view, frame).largest());
    const PageView ground = underMagenta(*expected);
    for (const double print : {0.0, 255.0})
        std::printf(" %.2f", PageComparison::measure(withSmallPrint(ground, frame, print),
                                                     underMagenta(*found), frame)
                                 .largest());
    std::printf(" %.2f", PageComparison::measure(withTint(*expected), *found, frame).largest());
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
