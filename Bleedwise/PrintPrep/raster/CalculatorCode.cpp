#include "PrintPrep/raster/CalculatorCode.h"

#include "PrintPrep/raster/CalculatorArithmetic.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace Bleedwise {
namespace {

constexpr std::size_t deepestNesting = 32;

bool isBlank(char letter) {
    return letter == ' ' || (letter >= '\t' && letter <= '\r') || letter == '\0';
}

} // namespace

class CalculatorCode::Compiler {
public:
    explicit Compiler(std::string_view code) : rest_(code) {}

    bool compile(std::vector<Instruction>& instructions) {
        return take() == "{" && procedure(instructions, 0) && take().empty();
    }

private:
    std::string_view take() {
        for (;;) {
            while (!rest_.empty() && isBlank(rest_.front()))
                rest_.remove_prefix(1);
            if (rest_.empty() || rest_.front() != '%')
                break;
            rest_.remove_prefix(std::min(rest_.find_first_of("\r\n"), rest_.size()));
        }
        std::size_t length = std::min<std::size_t>(rest_.size(), 1);
        if (length != 0 && rest_.front() != '{' && rest_.front() != '}') {
            while (length < rest_.size() && !isBlank(rest_[length]) && rest_[length] != '{' &&
                   rest_[length] != '}' && rest_[length] != '%')
                ++length;
        }
        const std::string_view token = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return token;
    }

    /// Up to the brace that closes it.
    bool procedure(std::vector<Instruction>& instructions, std::size_t depth) {
        if (depth > deepestNesting)
            return false;
        for (;;) {
            const std::string_view token = take();
            if (token == "}")
                return true;
            if (token == "{" ? !condition(instructions, depth) : !simple(instructions, token))
                return false;
        }
    }

    /// One or two procedures and `if` or `ifelse`.
    bool condition(std::vector<Instruction>& instructions, std::size_t depth) {
        const std::size_t test = instructions.size();
        instructions.push_back({Operator::jumpIfFalse});
        if (!procedure(instructions, depth + 1))
            return false;
        std::string_view token = take();
        if (token == "{") {
            const std::size_t end = instructions.size();
            instructions.push_back({Operator::jump});
            instructions[test].target = instructions.size();
            if (!procedure(instructions, depth + 1))
                return false;
            instructions[end].target = instructions.size();
            token = take();
            return token == "ifelse";
        }
        instructions[test].target = instructions.size();
        return token == "if";
    }

    static bool simple(std::vector<Instruction>& instructions, std::string_view token) {
        if (token == "true" || token == "false") {
            instructions.push_back({Operator::push, {token == "true" ? 1.0 : 0.0, Kind::boolean}});
            return true;
        }
        const auto* const found = std::find_if(
            names.begin(), names.end(), [&](const auto& entry) { return entry.first == token; });
        if (found != names.end())
            instructions.push_back({found->second});
        return found != names.end() || number(instructions, token);
    }

    static bool number(std::vector<Instruction>& instructions, std::string_view token) {
        if (token.starts_with('+'))
            token.remove_prefix(1);
        double value = 0;
        const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value,
                                                  std::chars_format::fixed);
        if (error != std::errc() || end != token.data() + token.size() || !std::isfinite(value))
            return false;
        const bool isInteger =
            token.find('.') == std::string_view::npos && std::abs(value) <= largestInteger;
        instructions.push_back({Operator::push, {value, isInteger ? Kind::integer : Kind::real}});
        return true;
    }

    static constexpr std::array<std::pair<std::string_view, Operator>, 38> names = {{
        {"abs", Operator::abs},
        {"add", Operator::add},
        {"and", Operator::andBits},
        {"atan", Operator::atan},
        {"bitshift", Operator::bitshift},
        {"ceiling", Operator::ceiling},
        {"copy", Operator::copy},
        {"cos", Operator::cos},
        {"cvi", Operator::cvi},
        {"cvr", Operator::cvr},
        {"div", Operator::div},
        {"dup", Operator::dup},
        {"eq", Operator::eq},
        {"exch", Operator::exch},
        {"exp", Operator::exp},
        {"floor", Operator::floor},
        {"ge", Operator::ge},
        {"gt", Operator::gt},
        {"idiv", Operator::idiv},
        {"index", Operator::index},
        {"le", Operator::le},
        {"ln", Operator::ln},
        {"log", Operator::log},
        {"lt", Operator::lt},
        {"mod", Operator::mod},
        {"mul", Operator::mul},
        {"ne", Operator::ne},
        {"neg", Operator::neg},
        {"not", Operator::notBits},
        {"or", Operator::orBits},
        {"pop", Operator::pop},
        {"roll", Operator::roll},
        {"round", Operator::round},
        {"sin", Operator::sin},
        {"sqrt", Operator::sqrt},
        {"sub", Operator::sub},
        {"truncate", Operator::truncate},
        {"xor", Operator::xorBits},
    }};

    std::string_view rest_;
};

/// The operands while a function is evaluated.
class CalculatorCode::Stack {
public:
    std::size_t size() const { return size_; }
    Value& top(std::size_t below = 0) { return values_[size_ - 1 - below]; }
    bool push(const Value& value) {
        if (size_ == mostOperands)
            return false;
        values_[size_++] = value;
        return true;
    }
    void pop() { --size_; }

    bool hasNumbers(std::size_t count) {
        if (size_ < count)
            return false;
        for (std::size_t i = 0; i < count; ++i) {
            if (top(i).kind == Kind::boolean)
                return false;
        }
        return true;
    }
    bool hasIntegers(std::size_t count) {
        if (size_ < count)
            return false;
        for (std::size_t i = 0; i < count; ++i) {
            if (top(i).kind != Kind::integer)
                return false;
        }
        return true;
    }

    /// One number becomes another of its kind.
    template <Operator operation>
    bool change() {
        if (!hasNumbers(1))
            return false;
        top().number = calculated(operation, top().number, 0);
        return isSound();
    }
    /// One number becomes a real one.
    template <Operator operation>
    bool changeToReal() {
        if (!hasNumbers(1))
            return false;
        top() = {calculated(operation, top().number, 0), Kind::real};
        return isSound();
    }
    /// Two numbers become one, an integer when they are.
    template <Operator operation>
    bool join() {
        if (!hasNumbers(2))
            return false;
        const bool areIntegers = top().kind == Kind::integer && top(1).kind == Kind::integer;
        top(1) = {calculated(operation, top(1).number, top().number),
                  areIntegers ? Kind::integer : Kind::real};
        pop();
        return isSound();
    }
    /// Two numbers become a real one.
    template <Operator operation>
    bool joinToReal() {
        if (!hasNumbers(2))
            return false;
        top(1) = {calculated(operation, top(1).number, top().number), Kind::real};
        pop();
        return isSound();
    }
    template <Operator operation>
    bool compare() {
        if (!hasNumbers(2))
            return false;
        top(1) = {calculated(operation, top(1).number, top().number), Kind::boolean};
        pop();
        return true;
    }
    /// Of any two of one kind.
    template <Operator operation>
    bool compareAny() {
        if (size_ < 2 || (top().kind == Kind::boolean) != (top(1).kind == Kind::boolean))
            return false;
        top(1) = {calculated(operation, top(1).number, top().number), Kind::boolean};
        pop();
        return true;
    }
    /// Two integers become one.
    template <Operator operation>
    bool joinIntegers() {
        if (!hasIntegers(2))
            return false;
        top(1).number = calculated(operation, top(1).number, top().number);
        pop();
        return isSound();
    }
    /// Two integers, or two truth values, bit by bit.
    template <Operator operation>
    bool joinBits() {
        if (size_ < 2 || top().kind != top(1).kind || top().kind == Kind::real)
            return false;
        top(1).number = calculated(operation, top(1).number, top().number);
        pop();
        return true;
    }

    bool copy() {
        const auto count = takeCount();
        if (!count || *count > size_ || size_ + *count > mostOperands)
            return false;
        std::copy_n(values_.begin() + static_cast<std::ptrdiff_t>(size_ - *count), *count,
                    values_.begin() + static_cast<std::ptrdiff_t>(size_));
        size_ += *count;
        return true;
    }
    bool index() {
        const auto place = takeCount();
        return place && *place < size_ && push(Value(top(*place)));
    }
    bool roll() {
        if (!hasIntegers(2))
            return false;
        const auto steps = static_cast<std::int64_t>(top().number);
        pop();
        const auto count = takeCount();
        if (!count || *count > size_)
            return false;
        if (*count == 0)
            return true;
        const auto length = static_cast<std::int64_t>(*count);
        const std::int64_t up = (steps % length + length) % length;
        const auto end = values_.begin() + static_cast<std::ptrdiff_t>(size_);
        std::rotate(end - length, end - up, end);
        return true;
    }

private:
    /// Whether the number on top is one of its kind.
    bool isSound() const {
        const Value& value = values_[size_ - 1];
        return std::isfinite(value.number) &&
               (value.kind != Kind::integer || std::abs(value.number) <= largestInteger);
    }

    std::optional<std::size_t> takeCount() {
        if (!hasIntegers(1) || top().number < 0 || top().number > mostOperands)
            return std::nullopt;
        const auto count = static_cast<std::size_t>(top().number);
        pop();
        return count;
    }

    // Not filled first: what is above `size_` is never read.
    std::array<Value, mostOperands> values_;
    std::size_t size_ = 0;
};

std::optional<CalculatorCode> CalculatorCode::of(std::string_view code) {
    CalculatorCode result;
    if (!Compiler(code).compile(result.instructions_))
        return std::nullopt;
    return result;
}

bool CalculatorCode::interpret(std::span<const double> input, std::span<double> output) const {
    Stack stack;
    for (const double number : input) {
        if (!stack.push({number, Kind::real}))
            return false;
    }
    for (std::size_t place = 0; place < instructions_.size();) {
        const Instruction& instruction = instructions_[place++];
        bool isDone = true;
        switch (instruction.operation) {
        case Operator::push:
            isDone = stack.push(instruction.value);
            break;
        case Operator::jump:
            place = instruction.target;
            break;
        case Operator::jumpIfFalse:
            isDone = stack.size() > 0 && stack.top().kind == Kind::boolean;
            if (isDone && stack.top().number == 0)
                place = instruction.target;
            if (isDone)
                stack.pop();
            break;
        case Operator::abs:
            isDone = stack.change<Operator::abs>();
            break;
        case Operator::add:
            isDone = stack.join<Operator::add>();
            break;
        case Operator::andBits:
            isDone = stack.joinBits<Operator::andBits>();
            break;
        case Operator::atan:
            isDone = stack.joinToReal<Operator::atan>();
            break;
        case Operator::bitshift:
            isDone = stack.joinIntegers<Operator::bitshift>();
            break;
        case Operator::ceiling:
            isDone = stack.change<Operator::ceiling>();
            break;
        case Operator::copy:
            isDone = stack.copy();
            break;
        case Operator::cos:
            isDone = stack.changeToReal<Operator::cos>();
            break;
        case Operator::cvi:
            isDone = stack.hasNumbers(1) && stack.change<Operator::cvi>() &&
                     std::abs(stack.top().number) <= largestInteger;
            if (isDone)
                stack.top().kind = Kind::integer;
            break;
        case Operator::cvr:
            isDone = stack.changeToReal<Operator::cvr>();
            break;
        case Operator::div:
            isDone = stack.joinToReal<Operator::div>();
            break;
        case Operator::dup:
            isDone = stack.size() > 0 && stack.push(Value(stack.top()));
            break;
        case Operator::eq:
            isDone = stack.compareAny<Operator::eq>();
            break;
        case Operator::exch:
            isDone = stack.size() > 1;
            if (isDone)
                std::swap(stack.top(), stack.top(1));
            break;
        case Operator::exp:
            isDone = stack.joinToReal<Operator::exp>();
            break;
        case Operator::floor:
            isDone = stack.change<Operator::floor>();
            break;
        case Operator::ge:
            isDone = stack.compare<Operator::ge>();
            break;
        case Operator::gt:
            isDone = stack.compare<Operator::gt>();
            break;
        case Operator::idiv:
            isDone = stack.joinIntegers<Operator::idiv>();
            break;
        case Operator::index:
            isDone = stack.index();
            break;
        case Operator::le:
            isDone = stack.compare<Operator::le>();
            break;
        case Operator::ln:
            isDone = stack.changeToReal<Operator::ln>();
            break;
        case Operator::log:
            isDone = stack.changeToReal<Operator::log>();
            break;
        case Operator::lt:
            isDone = stack.compare<Operator::lt>();
            break;
        case Operator::mod:
            isDone = stack.joinIntegers<Operator::mod>();
            break;
        case Operator::mul:
            isDone = stack.join<Operator::mul>();
            break;
        case Operator::ne:
            isDone = stack.compareAny<Operator::ne>();
            break;
        case Operator::neg:
            isDone = stack.change<Operator::neg>();
            break;
        case Operator::notBits:
        case Operator::notTruth:
            isDone = stack.size() > 0 && stack.top().kind != Kind::real;
            if (isDone)
                stack.top().number = calculated(
                    stack.top().kind == Kind::boolean ? Operator::notTruth : Operator::notBits,
                    stack.top().number, 0);
            break;
        case Operator::orBits:
            isDone = stack.joinBits<Operator::orBits>();
            break;
        case Operator::pop:
            isDone = stack.size() > 0;
            if (isDone)
                stack.pop();
            break;
        case Operator::roll:
            isDone = stack.roll();
            break;
        case Operator::round:
            isDone = stack.change<Operator::round>();
            break;
        case Operator::sin:
            isDone = stack.changeToReal<Operator::sin>();
            break;
        case Operator::sqrt:
            isDone = stack.changeToReal<Operator::sqrt>();
            break;
        case Operator::sub:
            isDone = stack.join<Operator::sub>();
            break;
        case Operator::truncate:
            isDone = stack.change<Operator::truncate>();
            break;
        case Operator::xorBits:
            isDone = stack.joinBits<Operator::xorBits>();
            break;
        }
        if (!isDone)
            return false;
    }
    if (!stack.hasNumbers(output.size()))
        return false;
    for (std::size_t i = 0; i < output.size(); ++i)
        output[output.size() - 1 - i] = stack.top(i).number;
    return true;
}

} // namespace Bleedwise
