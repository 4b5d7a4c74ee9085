#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Bleedwise {

/// Where to divide a page so that its parts, drawn side by side, take about as long: most documents
/// have pages that resemble one another, and a photo above a column of text would keep one process
/// busy for much longer than the other. One thread.
class PageDivision {
public:
    using Seconds = std::chrono::duration<double>;

    /// Rows of a page, up to but not including `end`, and what drawing them took.
    struct Part {
        std::int64_t begin;
        std::int64_t end;
        Seconds time;
    };

    PageDivision();

    /// The first rows of `count` parts, which all have rows, and at last `rowCount`. Equal parts at
    /// first. There must be at least as many rows as parts.
    std::vector<std::int64_t> bounds(std::int64_t rowCount, std::int64_t count) const;

    /// Whether a page has told anything.
    bool hasLearned() const { return !isFirst_; }

    /// Takes note of a page of `rowCount` rows. Parts without time say nothing.
    void learn(std::span<const Part> parts, std::int64_t rowCount);

private:
    static constexpr std::size_t slices = 64;

    /// Shares of the time that equal slices of a page take, which add up to 1.
    std::array<double, slices> shares_;
    bool isFirst_ = true;
};

} // namespace Bleedwise
