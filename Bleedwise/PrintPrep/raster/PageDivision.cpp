#include "PrintPrep/raster/PageDivision.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Bleedwise {
namespace {

/// How much the last page counts beside all before it.
constexpr double newest = 0.5;

/// What a slice takes at least, in parts of the mean: even blank rows have to be cleared and
/// copied, and the next page may look different.
constexpr double least = 0.2;

} // namespace

PageDivision::PageDivision() {
    shares_.fill(1.0 / slices);
}

std::vector<std::int64_t> PageDivision::bounds(std::int64_t rowCount, std::int64_t count) const {
    std::vector<std::int64_t> rows = {0};
    double sum = 0; // of the slices passed
    std::size_t slice = 0;
    for (std::int64_t part = 1; part < count; ++part) {
        const double wanted = static_cast<double>(part) / static_cast<double>(count);
        while (slice + 1 < slices && sum + shares_[slice] < wanted)
            sum += shares_[slice++];
        const double place =
            (static_cast<double>(slice) + (wanted - sum) / shares_[slice]) / slices;
        // Each part has a row, and so have those to come.
        rows.push_back(std::clamp<std::int64_t>(std::llround(place * static_cast<double>(rowCount)),
                                                rows.back() + 1, rowCount - (count - part)));
    }
    rows.push_back(rowCount);
    return rows;
}

void PageDivision::learn(std::span<const Part> parts, std::int64_t rowCount) {
    std::array<double, slices> page{};
    for (const Part& part : parts) {
        const double slicesPerRow = static_cast<double>(slices) / static_cast<double>(rowCount);
        const double begin = static_cast<double>(part.begin) * slicesPerRow;
        const double end = static_cast<double>(part.end) * slicesPerRow;
        for (std::size_t slice = 0; slice < slices; ++slice) {
            const auto top = static_cast<double>(slice);
            const double covered = std::min(end, top + 1) - std::max(begin, top);
            if (covered > 0)
                page[slice] += part.time.count() * covered / (end - begin);
        }
    }
    const double total = std::accumulate(page.begin(), page.end(), 0.0);
    if (!(total > 0))
        return;
    for (std::size_t slice = 0; slice < slices; ++slice) {
        const double share = std::max(page[slice] / total, least / slices);
        shares_[slice] += (isFirst_ ? 1 : newest) * (share - shares_[slice]);
    }
    isFirst_ = false;
    const double sum = std::accumulate(shares_.begin(), shares_.end(), 0.0);
    for (double& share : shares_)
        share /= sum;
}

} // namespace Bleedwise
