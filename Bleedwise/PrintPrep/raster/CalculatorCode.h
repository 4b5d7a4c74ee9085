#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace Bleedwise {

/// What a PostScript calculator function's instructions do: ISO 32000-1, table 42, and what `if`,
/// `ifelse` and constants become.
enum class CalculatorOperator : std::uint8_t {
    abs,
    add,
    andBits,
    atan,
    bitshift,
    ceiling,
    copy,
    cos,
    cvi,
    cvr,
    div,
    dup,
    eq,
    exch,
    exp,
    floor,
    ge,
    gt,
    idiv,
    index,
    le,
    ln,
    log,
    lt,
    mod,
    mul,
    ne,
    neg,
    notBits,
    notTruth, // `not` of a truth value, which only trees tell from that of a number
    orBits,
    pop,
    roll,
    round,
    sin,
    sqrt,
    sub,
    truncate,
    xorBits,
    push,
    jump,
    jumpIfFalse,
};

/// A PostScript calculator function (ISO 32000-1, 7.10.5), read and interpreted. Any thread.
class CalculatorCode {
public:
    using Operator = CalculatorOperator;
    enum class Kind : std::uint8_t { boolean, integer, real };
    /// Integers are exact as doubles.
    struct Value {
        double number;
        Kind kind;
    };
    struct Instruction {
        Operator operation;
        Value value = {0, Kind::real};
        std::size_t target = 0; // of a jump, which only leads ahead
    };

    /// Operands that there is room for (ISO 32000-1, table C.1).
    static constexpr std::size_t mostOperands = 100;

    static constexpr double largestInteger = 2147483647;

    /// Nothing when `code`, with its outer braces, is none, or nests too deeply.
    static std::optional<CalculatorCode> of(std::string_view code);

    /// Puts the topmost results into `output`, as they are, without the function's range. False
    /// when the function fails, by a missing or unfit operand or a number beyond its type; `output`
    /// then holds anything.
    bool interpret(std::span<const double> input, std::span<double> output) const;

    /// The end is that of the function.
    const std::vector<Instruction>& instructions() const { return instructions_; }

private:
    class Compiler;
    class Stack;

    CalculatorCode() = default;

    std::vector<Instruction> instructions_;
};

} // namespace Bleedwise
