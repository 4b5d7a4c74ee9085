#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace Bleedwise {

/// A PostScript calculator function (ISO 32000-1, 7.10.5), made ready for being evaluated once for
/// each pixel of a page. Any thread.
class Calculator {
public:
    /// Nothing when `code`, with its outer braces, is none, or nests too deeply.
    static std::optional<Calculator> of(std::string_view code);

    /// Puts the topmost results into `output`, as they are, without the function's range. False
    /// when the function fails, by a missing or unfit operand or a number beyond its type; `output`
    /// then holds anything. It has no loops, so it always ends.
    bool evaluate(std::span<const double> input, std::span<double> output) const;

private:
    enum class Operator : std::uint8_t;
    enum class Kind : std::uint8_t { boolean, integer, real };
    /// Integers are exact as doubles.
    struct Value {
        double number;
        Kind kind;
    };
    struct Instruction {
        Operator operation;
        Value value = {0, Kind::real};
        std::size_t target = 0; // of a jump
    };
    class Compiler;
    class Stack;

    Calculator() = default;

    std::vector<Instruction> instructions_;
};

} // namespace Bleedwise
