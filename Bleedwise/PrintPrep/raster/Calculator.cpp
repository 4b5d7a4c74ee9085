#include "PrintPrep/raster/Calculator.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Bleedwise {

std::optional<Calculator> Calculator::of(std::string_view code, std::size_t inputs,
                                         std::size_t outputs) {
    auto parsed = CalculatorCode::of(code);
    if (!parsed)
        return std::nullopt;
    Calculator calculator(std::move(*parsed));
    calculator.tree_ = CalculatorTree::of(calculator.code_, inputs, outputs);
    return calculator;
}

Calculator::Points Calculator::evaluate(std::size_t count, std::span<const Row> input,
                                        std::span<Row> output) const {
    const auto isFinite = [&](const Row& row) {
        return std::all_of(row.data(), row.data() + count,
                           [](double number) { return std::isfinite(number); });
    };
    if (tree_ && std::all_of(input.begin(), input.end(), isFinite))
        return tree_->evaluate(count, input, output);

    Points failed;
    std::vector<double> numbers(input.size());
    std::vector<double> results(output.size());
    for (std::size_t point = 0; point < count; ++point) {
        for (std::size_t i = 0; i < input.size(); ++i)
            numbers[i] = input[i][point];
        failed[point] = !code_.interpret(numbers, results);
        for (std::size_t i = 0; i < output.size(); ++i)
            output[i][point] = results[i];
    }
    return failed;
}

} // namespace Bleedwise
