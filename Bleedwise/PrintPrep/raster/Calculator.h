#pragma once

#include "PrintPrep/raster/CalculatorCode.h"
#include "PrintPrep/raster/CalculatorTree.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace Bleedwise {

/// A PostScript calculator function (ISO 32000-1, 7.10.5), made ready for being evaluated once for
/// each pixel of a page. Any thread.
class Calculator {
public:
    /// For so many inputs and outputs. Nothing when `code`, with its outer braces, is none, or
    /// nests too deeply.
    static std::optional<Calculator> of(std::string_view code, std::size_t inputs,
                                        std::size_t outputs);

    /// Points that may be evaluated together, which takes far less time.
    static constexpr std::size_t mostPoints = CalculatorTree::mostPoints;
    /// A number of each point.
    using Row = CalculatorTree::Row;
    using Points = CalculatorTree::Points;

    /// Whether several points together do take less time: not where it has to be interpreted.
    bool isFastForRows() const { return tree_.has_value(); }

    /// Puts the topmost results for the first `count` points into the rows of `output`, as they
    /// are, without the function's range; there are as many rows as `of` was told, and at most
    /// `mostPoints` points. Returns the points where the function fails, by a missing
    /// or unfit operand or a number beyond its type; their output may be anything. It has no loops,
    /// so it always ends.
    Points evaluate(std::size_t count, std::span<const Row> input, std::span<Row> output) const;

private:
    explicit Calculator(CalculatorCode code) : code_(std::move(code)) {}

    CalculatorCode code_;
    std::optional<CalculatorTree> tree_; // the same, faster
};

} // namespace Bleedwise
