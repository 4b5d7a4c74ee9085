#include "PrintPrep/raster/PageDivision.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Bounds = std::vector<std::int64_t>;
using Seconds = PageDivision::Seconds;

constexpr std::int64_t rows = 1000;

/// Draws pages on which a row takes `cost` seconds, and says what the slowest part of the last one
/// took.
double slowestOf(PageDivision& division, int pages, std::int64_t count,
                 const std::function<double(std::int64_t)>& cost) {
    double slowest = 0;
    for (int page = 0; page < pages; ++page) {
        const Bounds bounds = division.bounds(rows, count);
        std::vector<PageDivision::Part> parts;
        slowest = 0;
        for (std::size_t part = 0; part + 1 < bounds.size(); ++part) {
            double seconds = 0;
            for (std::int64_t row = bounds[part]; row < bounds[part + 1]; ++row)
                seconds += cost(row);
            parts.push_back({bounds[part], bounds[part + 1], Seconds(seconds)});
            slowest = std::max(slowest, seconds);
        }
        division.learn(parts, rows);
    }
    return slowest;
}

double photoAboveText(std::int64_t row) {
    return row < 300 ? 5 : 1;
}

TEST(PageDivision, BeginsWithEqualParts) {
    EXPECT_EQ(PageDivision().bounds(rows, 4), (Bounds{0, 250, 500, 750, 1000}));
}

TEST(PageDivision, GivesTwoPartsOfPagesThatAreAlikeTheSameWork) {
    PageDivision division;
    EXPECT_LT(slowestOf(division, 8, 2, photoAboveText), 1.2 * (300 * 5 + 700) / 2);
}

TEST(PageDivision, GivesManyPartsOfPagesThatAreAlikeTheSameWork) {
    PageDivision division;
    EXPECT_LT(slowestOf(division, 20, 8, photoAboveText), 1.3 * (300 * 5 + 700) / 8);
}

TEST(PageDivision, FollowsWhenPagesChange) {
    PageDivision division;
    slowestOf(division, 8, 2, photoAboveText);
    EXPECT_LT(
        slowestOf(division, 8, 2, [](std::int64_t row) { return photoAboveText(rows - row); }),
        1.2 * (300 * 5 + 700) / 2);
}

TEST(PageDivision, SaysWhetherAPageHasToldAnything) {
    PageDivision division;
    EXPECT_FALSE(division.hasLearned());
    slowestOf(division, 1, 2, photoAboveText);
    EXPECT_TRUE(division.hasLearned());
}

TEST(PageDivision, IsOfPagesOfAnyHeight) {
    PageDivision division;
    slowestOf(division, 8, 2, photoAboveText);
    const Bounds bounds = division.bounds(10 * rows, 2);
    EXPECT_EQ(bounds.back(), 10 * rows);
    EXPECT_NEAR(static_cast<double>(bounds[1]), 2200, 300);
}

TEST(PageDivision, GivesEachPartARow) {
    PageDivision division;
    slowestOf(division, 8, 2, [](std::int64_t row) { return row < 10 ? 1000 : 0.001; });
    for (const std::int64_t count : {1, 2, 3, 5}) {
        const Bounds bounds = division.bounds(5, count);
        ASSERT_EQ(bounds.size(), static_cast<std::size_t>(count) + 1);
        EXPECT_EQ(bounds.front(), 0);
        EXPECT_EQ(bounds.back(), 5);
        EXPECT_TRUE(std::is_sorted(bounds.begin(), bounds.end(), std::less_equal<>()));
    }
}

TEST(PageDivision, LearnsNothingFromPartsWithoutTime) {
    PageDivision division;
    division.learn(std::vector<PageDivision::Part>{{0, 900, Seconds(0)}, {900, 1000, Seconds(0)}},
                   rows);
    division.learn({}, rows);
    EXPECT_EQ(division.bounds(rows, 2), (Bounds{0, 500, 1000}));
}

} // namespace
} // namespace Bleedwise
