#pragma once

#include "PrintPrep/raster/CalculatorCode.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Bleedwise {

/// A calculator function as a tree: each way that evaluation can take through its conditions
/// becomes a straight sequence of calculations. On one way the depth of the operand stack and the
/// types of the operands are known beforehand, so that neither a stack nor types are left, nor what
/// only moves operands, what is the same for every input, and what no result needs. A gradient's
/// function becomes the search for its two stops. Any thread.
class CalculatorTree {
public:
    /// Nothing when operands move by calculated distances, or when the tree would be too large.
    static std::optional<CalculatorTree> of(const CalculatorCode& code, std::size_t inputs,
                                            std::size_t outputs);

    /// Points that are evaluated together, each step for all that take the same way.
    static constexpr std::size_t mostPoints = 64;
    /// A number of each point.
    using Row = std::array<double, mostPoints>;
    using Points = std::bitset<mostPoints>;

    /// Puts into `output` what the code's interpretation gives for each of the first `count`
    /// points, bit for bit, from as many rows of finite inputs to as many rows of outputs as were
    /// said. Returns the points where the function fails; their output may be anything.
    Points evaluate(std::size_t count, std::span<const Row> input, std::span<Row> output) const;

private:
    class Builder;
    class Evaluation;

    /// Where an operand is. Place 0 holds the constant of the step, the inputs follow.
    using Place = std::uint8_t;
    enum class Action : std::uint8_t { keep, branch, finish, fail };
    struct Step {
        Action action;
        CalculatorOperator operation = CalculatorOperator::cvr;
        Place a = 0;
        Place b = 0;
        /// Of what is kept.
        Place result = 0;
        /// Where to go on when the condition is not met or the number is unsound; or the first of
        /// the results.
        std::uint32_t target = 0;
        double constant = 0;
        /// What a sound result's magnitude does not exceed.
        double limit = 0;
    };
    struct Result {
        Place place = 0;
        double constant = 0;
    };

    static constexpr std::size_t mostPlaces = 256;

    CalculatorTree() = default;

    std::vector<Step> steps_;
    std::vector<Result> results_;
};

} // namespace Bleedwise
