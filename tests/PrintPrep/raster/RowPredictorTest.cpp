#include "PrintPrep/raster/RowPredictor.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace Bleedwise {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<Bytes> predicted(const std::vector<Bytes>& rows) {
    RowPredictor predictor(rows.front().size());
    std::vector<Bytes> result;
    for (const Bytes& row : rows) {
        Bytes output(predictor.outputBytes());
        predictor.predict(row.data(), output.data());
        result.push_back(output);
    }
    return result;
}

TEST(RowPredictor, TakesTheRowAboveAwayWhereThatIsBetter) {
    EXPECT_EQ(predicted({{9, 8, 7, 6, 90, 80, 70, 60}, {10, 8, 7, 6, 91, 80, 70, 60}})[1],
              (Bytes{2, 1, 0, 0, 0, 1, 0, 0, 0}));
}

TEST(RowPredictor, TakesThePixelBeforeAwayWhereThatIsBetter) {
    EXPECT_EQ(predicted({{0, 0, 0, 0, 0, 0, 0, 0}, {90, 80, 70, 60, 91, 80, 70, 60}})[1],
              (Bytes{1, 90, 80, 70, 60, 1, 0, 0, 0}));
}

TEST(RowPredictor, TakesTheFirstRowAgainstNothing) {
    EXPECT_EQ(predicted({{1, 0, 0, 0, 0, 0, 0, 0}})[0], (Bytes{2, 1, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(RowPredictor, MakesAnEqualRowZero) {
    EXPECT_EQ(predicted({{9, 8, 7, 6}, {9, 8, 7, 6}})[1], (Bytes{2, 0, 0, 0, 0}));
}

/// A row of `count` pixels.
Bytes pixels(std::size_t count, std::uint8_t value) {
    return Bytes(4 * count, value);
}

TEST(RowPredictor, LeavesARowAloneThatIsAllButOneColour) {
    Bytes letters = pixels(80, 0);
    letters[80] = 200;
    Bytes expected = letters;
    expected.insert(expected.begin(), 0);
    EXPECT_EQ(predicted({pixels(80, 9), letters})[1], expected);
}

TEST(RowPredictor, TakesTheRowAboveAwayWhereFewerPixelsDiffer) {
    // By the sizes of the differences the pixel before would be the better neighbour.
    Bytes above;
    for (std::uint8_t i = 0; i < 40; ++i)
        above.insert(above.end(), {i, i, i, i});
    Bytes row = above;
    for (std::size_t i = 40; i < 80; ++i)
        row[i] = static_cast<std::uint8_t>(row[i] + 60);
    EXPECT_EQ(predicted({above, row})[1][0], 2);
}

TEST(RowPredictor, TakesThePixelBeforeAwayWhereFewerPixelsDiffer) {
    Bytes steps;
    for (std::uint8_t i = 0; i < 40; ++i)
        steps.insert(steps.end(), 4, static_cast<std::uint8_t>(i / 8 * 50));
    EXPECT_EQ(predicted({pixels(40, 99), steps})[1][0], 1);
}

TEST(RowPredictor, CanBeUndone) {
    std::vector<Bytes> rows;
    std::uint32_t random = 1;
    for (int row = 0; row < 40; ++row) {
        Bytes bytes;
        for (int i = 0; i < 4 * 61; ++i) {
            random = random * 1664525 + 1013904223;
            bytes.push_back(static_cast<std::uint8_t>(row % 3 == 0   ? random >> 24U
                                                      : row % 3 == 1 ? static_cast<unsigned>(i)
                                                                     : 7U));
        }
        rows.push_back(bytes);
    }
    const std::vector<Bytes> differences = predicted(rows);
    Bytes above(rows.front().size());
    for (std::size_t row = 0; row < rows.size(); ++row) {
        Bytes restored;
        for (std::size_t i = 0; i < above.size(); ++i) {
            const std::uint8_t left = i < 4 ? std::uint8_t{0} : restored[i - 4];
            const std::uint8_t neighbour = differences[row][0] == 0   ? std::uint8_t{0}
                                           : differences[row][0] == 1 ? left
                                                                      : above[i];
            restored.push_back(static_cast<std::uint8_t>(differences[row][i + 1] + neighbour));
        }
        ASSERT_EQ(restored, rows[row]) << row;
        above = restored;
    }
}

/// The row's differences from its neighbours, in plain words.
Bytes differences(const Bytes& row, const Bytes& above, int filter) {
    Bytes result;
    for (std::size_t i = 0; i < row.size(); ++i) {
        const int left = i < 4 ? 0 : row[i - 4];
        const int neighbour = filter == 0 ? 0 : filter == 1 ? left : above[i];
        result.push_back(static_cast<std::uint8_t>(row[i] - neighbour));
    }
    return result;
}

/// How many pixels differ from the one above, or from the one before, which the first one has not.
std::size_t changes(const Bytes& row, const Bytes& above, int filter) {
    const Bytes differing = differences(row, above, filter);
    std::size_t count = 0;
    for (std::size_t i = filter == 1 ? 4 : 0; i < row.size(); i += 4)
        count += std::any_of(&differing[i], &differing[i] + 4, [](auto byte) { return byte != 0; });
    return count;
}

int cost(const Bytes& row, const Bytes& above, int filter) {
    int sum = 0;
    for (const std::uint8_t byte : differences(row, above, filter))
        sum += std::min<int>(byte, 256 - byte);
    return sum;
}

/// The choice of a filter, in plain words.
int filterOf(const Bytes& row, const Bytes& above) {
    const std::size_t pixelCount = row.size() / 4;
    const std::size_t left = changes(row, above, 1);
    const std::size_t up = changes(row, above, 2);
    if (up == 0)
        return 2;
    if (std::min(left, up) >= pixelCount / 2)
        return cost(row, above, 1) < cost(row, above, 2) ? 1 : 2;
    if (up < left)
        return 2;
    return left < pixelCount / 16 ? 0 : 1;
}

/// Rows of one width, of which some are drawn, some photographed and some like the one above.
rc::Gen<std::vector<Bytes>> anyRows() {
    return rc::gen::mapcat(rc::gen::inRange<std::size_t>(1, 150), [](std::size_t width) {
        const auto photographed =
            rc::gen::container<Bytes>(4 * width, rc::gen::arbitrary<std::uint8_t>());
        const auto smooth =
            rc::gen::container<Bytes>(4 * width, rc::gen::inRange<std::uint8_t>(120, 124));
        const auto drawn = rc::gen::container<Bytes>(
            4 * width, rc::gen::weightedElement<std::uint8_t>({{60, 0}, {1, 255}}));
        return rc::gen::container<std::vector<Bytes>>(
            rc::gen::oneOf(photographed, smooth, drawn, rc::gen::just(Bytes(4 * width, 9))));
    });
}

RC_GTEST_PROP(RowPredictor, ChoosesAndSubtractsAsInPlainWords, ()) {
    const auto rows = *anyRows();
    RC_PRE(!rows.empty());
    const auto result = predicted(rows);
    Bytes above(rows.front().size());
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const int filter = filterOf(rows[row], above);
        Bytes expected = differences(rows[row], above, filter);
        expected.insert(expected.begin(), static_cast<std::uint8_t>(filter));
        RC_ASSERT(result[row] == expected);
        above = rows[row];
    }
}

} // namespace
} // namespace Bleedwise
