// Says what drawing a document takes with more and more processors, whether this machine has them
// or not:
//
//   scaling PROFILE WIDTH HEIGHT DOCUMENT
//
// Each page is divided as it is for so many processes, and its parts are drawn one after another in
// this one: together they are the work, and the slowest is what so many processors would take.
// Prints means over the pages in milliseconds; each number of parts goes through the document once
// to warm up.

#include "PrintPrep/platform/MappedFile.h"
#include "PrintPrep/raster/OutputProfile.h"
#include "PrintPrep/raster/PageDivision.h"
#include "PrintPrep/raster/PageGeometry.h"
#include "PrintPrep/raster/PopplerRenderer.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

using namespace Bleedwise;

namespace {

struct Times {
    double together = 0;
    double slowest = 0;
};

Times draw(PopplerRenderer::Document& document, const OutputProfile& profile,
           const PrintSettings& settings, std::int64_t partCount) {
    const PixelSize size = PageGeometry::pixelSize(settings);
    constexpr std::int64_t beside = PopplerRenderer::rowsBeside;
    std::vector<std::uint8_t> memory(
        static_cast<std::size_t>(4 * size.width * (size.height + 2 * beside)));
    std::uint8_t* rows = memory.data() + 4 * size.width * beside;
    PageDivision division;
    Times times;
    for (int page = 1; page <= document.pageCount(); ++page) {
        const auto mediaBox = document.mediaBox(page);
        if (!mediaBox)
            continue;
        const std::vector<std::int64_t> bounds = division.bounds(size.height, partCount);
        std::vector<PageDivision::Part> parts;
        for (std::size_t part = 0; part + 1 < bounds.size(); ++part) {
            const RenderRequest request = {page, size, PageGeometry::place(*mediaBox, settings),
                                           bounds[part], bounds[part + 1] - bounds[part]};
            const std::clock_t start = std::clock();
            document.draw(request, profile, {rows, true},
                          PopplerRenderer::Document::Indivisible::drawWhole);
            parts.push_back({bounds[part], bounds[part + 1],
                             PageDivision::Seconds(static_cast<double>(std::clock() - start) /
                                                   CLOCKS_PER_SEC)});
        }
        division.learn(parts, size.height);
        double slowest = 0;
        for (const PageDivision::Part& part : parts) {
            times.together += part.time.count() / document.pageCount();
            slowest = std::max(slowest, part.time.count());
        }
        times.slowest += slowest / document.pageCount();
    }
    return times;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: scaling PROFILE WIDTH HEIGHT DOCUMENT\n");
        return EXIT_FAILURE;
    }
    const auto profile = OutputProfile::fromBytes(std::string(MappedFile(argv[1]).bytes()));
    const PrintSettings settings = {std::atof(argv[2]), std::atof(argv[3]), 3, true, false};
    const auto document = PopplerRenderer::open(argv[4]);
    if (!profile || !document) {
        std::fprintf(stderr, "could not read %s or %s\n", argv[1], argv[4]);
        return EXIT_FAILURE;
    }
    for (const std::int64_t parts : {1, 2, 4, 8, 16}) {
        draw(*document, *profile, settings, parts);
        const Times times = draw(*document, *profile, settings, parts);
        constexpr double milliseconds = 1000;
        std::printf("  %2d processors: %6.0f ms a page, %.0f ms of work\n", static_cast<int>(parts),
                    times.slowest * milliseconds, times.together * milliseconds);
    }
    return EXIT_SUCCESS;
}
