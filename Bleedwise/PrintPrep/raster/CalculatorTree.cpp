#include "PrintPrep/raster/CalculatorTree.h"

#include "PrintPrep/raster/CalculatorArithmetic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <tuple>
#include <utility>

namespace Bleedwise {
namespace {

using Operator = CalculatorOperator;
using Kind = CalculatorCode::Kind;

/// Instructions that are followed, on all ways together.
constexpr std::size_t mostInstructions = 10'000;
constexpr std::size_t mostSteps = 10'000;

/// So many numbers of a way are copied in about the time of following an instruction.
constexpr std::size_t numbersPerInstruction = 16;

/// Numbers and undecided conditions on one way.
constexpr std::size_t mostNumbers = 1000;
constexpr std::size_t mostForks = 64;

constexpr double largestReal = std::numeric_limits<double>::max();
constexpr double infinite = std::numeric_limits<double>::infinity();

/// From the bits of integers.
constexpr double smallestBits = -CalculatorCode::largestInteger - 1;

/// What a number is known to lie in. Rounding keeps the order of numbers, so that the bounds of a
/// result are results of bounds.
struct Range {
    double low = -infinite;
    double high = infinite;

    bool isWithin(double limit) const { return low >= -limit && high <= limit; }
};

constexpr Range truth = {0, 1};

Range hull(std::initializer_list<double> numbers) {
    const auto [low, high] = std::minmax(numbers);
    return {low, high};
}

/// Of a comparison: true or false for certain where the ranges say so.
Range comparison(bool isAlways, bool isNever) {
    return isAlways ? Range{1, 1} : isNever ? Range{0, 0} : truth;
}

/// Of a result, before it is found sound.
Range rangeOf(Operator operation, const Range& a, const Range& b) {
    switch (operation) {
    case Operator::abs:
        return {a.low >= 0 ? a.low : a.high <= 0 ? -a.high : 0, std::max(-a.low, a.high)};
    case Operator::add:
        return {a.low + b.low, a.high + b.high};
    case Operator::sub:
        return {a.low - b.high, a.high - b.low};
    case Operator::mul:
        return hull({a.low * b.low, a.low * b.high, a.high * b.low, a.high * b.high});
    case Operator::div:
        if (b.low <= 0 && b.high >= 0)
            return {};
        return hull({a.low / b.low, a.low / b.high, a.high / b.low, a.high / b.high});
    case Operator::atan:
        return {0, 361}; // more than rounding makes of a turn
    case Operator::sin:
    case Operator::cos:
        return {-1, 1};
    case Operator::sqrt:
        return a.low >= 0 ? Range{std::sqrt(a.low), std::sqrt(a.high)} : Range{};
    case Operator::ceiling:
    case Operator::cvi:
    case Operator::cvr:
    case Operator::floor:
    case Operator::round:
    case Operator::truncate:
        return {calculated(operation, a.low, 0), calculated(operation, a.high, 0)};
    case Operator::neg:
    case Operator::notBits:
    case Operator::notTruth:
        return {calculated(operation, a.high, 0), calculated(operation, a.low, 0)};
    case Operator::eq:
        return comparison(false, a.high < b.low || a.low > b.high);
    case Operator::ne:
        return comparison(a.high < b.low || a.low > b.high, false);
    case Operator::ge:
        return comparison(a.low >= b.high, a.high < b.low);
    case Operator::gt:
        return comparison(a.low > b.high, a.high <= b.low);
    case Operator::le:
        return comparison(a.high <= b.low, a.low > b.high);
    case Operator::lt:
        return comparison(a.high < b.low, a.low >= b.high);
    case Operator::andBits:
    case Operator::orBits:
    case Operator::xorBits:
        return {smallestBits, CalculatorCode::largestInteger};
    default:
        return {};
    }
}

bool isComparison(Operator operation) {
    switch (operation) {
    case Operator::eq:
    case Operator::ge:
    case Operator::gt:
    case Operator::le:
    case Operator::lt:
    case Operator::ne:
        return true;
    default:
        return false;
    }
}

/// The operator that tells the opposite.
Operator opposite(Operator comparison) {
    switch (comparison) {
    case Operator::eq:
        return Operator::ne;
    case Operator::ge:
        return Operator::lt;
    case Operator::gt:
        return Operator::le;
    case Operator::le:
        return Operator::gt;
    case Operator::lt:
        return Operator::ge;
    default:
        return Operator::eq;
    }
}

/// The operator that tells the same of exchanged operands.
Operator exchanged(Operator comparison) {
    switch (comparison) {
    case Operator::ge:
        return Operator::le;
    case Operator::gt:
        return Operator::lt;
    case Operator::le:
        return Operator::ge;
    case Operator::lt:
        return Operator::gt;
    default:
        return comparison;
    }
}

} // namespace

/// Follows the instructions with what is known of the operands in place of their values, and each
/// way by itself from where a condition is undecided.
class CalculatorTree::Builder {
public:
    Builder(const CalculatorCode& code, std::size_t outputs)
        : instructions_(code.instructions()), outputs_(outputs) {}

    std::optional<CalculatorTree> build(std::size_t inputs) {
        if (inputs > CalculatorCode::mostOperands)
            return std::nullopt;
        fail(); // the step that unsound numbers lead to
        Way way;
        for (std::size_t i = 0; i < inputs; ++i) {
            Number number;
            number.range = {-largestReal, largestReal};
            number.place = newPlace(way);
            way.push(number, Kind::real);
        }
        if (!follow(std::move(way), 0) || isTooLarge_)
            return std::nullopt;
        return std::move(tree_);
    }

private:
    /// What is known of a number. It is calculated where a condition or a result first needs it,
    /// or at once when it may be unsound.
    struct Number {
        Operator operation = Operator::push;
        std::size_t a = 0;
        std::size_t b = 0; // as `a` where there is one operand
        Range range;
        double limit = infinite;
        std::optional<double> constant;
        Place place = 0; // once it has been calculated
    };
    struct Operand {
        std::size_t number;
        Kind kind;
    };
    struct Way {
        std::vector<Number> numbers;
        std::vector<Operand> stack;
        std::size_t places = 1;
        std::size_t forks = 0;

        Operand& top(std::size_t below = 0) { return stack[stack.size() - 1 - below]; }
        const std::optional<double>& constant(std::size_t below = 0) {
            return numbers[top(below).number].constant;
        }
        void push(const Number& number, Kind kind) {
            stack.push_back({numbers.size(), kind});
            numbers.push_back(number);
        }
        void pushConstant(double value, Kind kind) {
            Number number;
            number.range = {value, value};
            number.constant = value;
            push(number, kind);
        }
        std::size_t take() {
            const std::size_t number = top().number;
            stack.pop_back();
            return number;
        }
        bool hasNumbers(std::size_t count) {
            return has(count, [](Kind kind) { return kind != Kind::boolean; });
        }
        bool hasIntegers(std::size_t count) {
            return has(count, [](Kind kind) { return kind == Kind::integer; });
        }
        bool hasTruth() {
            return has(1, [](Kind kind) { return kind == Kind::boolean; });
        }

    private:
        template <typename Fits>
        bool has(std::size_t count, const Fits& fits) {
            if (stack.size() < count)
                return false;
            for (std::size_t i = 0; i < count; ++i) {
                if (!fits(top(i).kind))
                    return false;
            }
            return true;
        }
    };
    enum class Outcome : std::uint8_t {
        done,
        /// So does the function, on this way.
        failed,
        /// It depends on the input in a manner that a tree does not tell apart.
        unknown,
    };

    /// False when there can be no tree.
    bool follow(Way way, std::size_t place) {
        while (place < instructions_.size()) {
            if (++followed_ > mostInstructions || tree_.steps_.size() > mostSteps ||
                way.numbers.size() > mostNumbers || isTooLarge_)
                return false;
            const auto& instruction = instructions_[place++];
            if (instruction.operation == Operator::jump) {
                place = instruction.target;
            } else if (instruction.operation == Operator::jumpIfFalse) {
                if (!way.hasTruth())
                    return fail();
                const auto decided = way.constant();
                const std::size_t condition = way.take();
                if (!decided)
                    return fork(std::move(way), condition, place, instruction.target);
                if (*decided == 0)
                    place = instruction.target;
            } else if (const Outcome outcome = apply(way, instruction); outcome != Outcome::done) {
                return outcome == Outcome::failed && fail();
            }
        }
        return finish(way);
    }

    bool fork(Way way, std::size_t condition, std::size_t placeIfTrue, std::size_t placeIfFalse) {
        if (++way.forks > mostForks)
            return false;
        Step step = {Action::branch};
        if (way.numbers[condition].place != 0) {
            step.a = way.numbers[condition].place;
        } else if (!prepare(way, condition, step)) {
            const bool isMet = way.numbers[condition].constant != 0;
            return follow(std::move(way), isMet ? placeIfTrue : placeIfFalse);
        }
        const std::size_t branch = tree_.steps_.size();
        tree_.steps_.push_back(step);

        followed_ += way.numbers.size() / numbersPerInstruction; // copying takes its time, too
        Way other = way;
        learn(way, condition, true);
        if (!follow(std::move(way), placeIfTrue))
            return false;
        tree_.steps_[branch].target = static_cast<std::uint32_t>(tree_.steps_.size());
        learn(other, condition, false);
        return follow(std::move(other), placeIfFalse);
    }

    bool fail() {
        tree_.steps_.push_back({Action::fail});
        return true;
    }

    bool finish(Way& way) {
        if (!way.hasNumbers(outputs_))
            return fail();
        std::vector<Result> results;
        for (std::size_t i = outputs_; i-- > 0;) {
            Step constant = {Action::keep};
            const Place place = operand(way, way.top(i).number, constant);
            results.push_back({place, constant.constant});
        }
        Step step = {Action::finish};
        step.target = static_cast<std::uint32_t>(tree_.results_.size());
        tree_.steps_.push_back(step);
        tree_.results_.insert(tree_.results_.end(), results.begin(), results.end());
        return true;
    }

    Place newPlace(Way& way) {
        isTooLarge_ = isTooLarge_ || way.places == mostPlaces;
        return static_cast<Place>(isTooLarge_ ? 0 : way.places++);
    }

    /// Where a number is for the step; calculates it if need be.
    Place operand(Way& way, std::size_t number, Step& step) {
        if (!way.numbers[number].constant && way.numbers[number].place == 0)
            calculate(way, number);
        if (const auto& constant = way.numbers[number].constant) {
            step.constant = *constant;
            return 0;
        }
        return way.numbers[number].place;
    }

    /// False when the number has become a constant, which its operands were found to be.
    bool prepare(Way& way, std::size_t number, Step& step) {
        const std::size_t a = way.numbers[number].a;
        const std::size_t b = way.numbers[number].b;
        step.operation = way.numbers[number].operation;
        step.a = operand(way, a, step);
        step.b = operand(way, b, step);
        const auto& constantA = way.numbers[a].constant;
        const auto& constantB = way.numbers[b].constant;
        if (constantA && constantB)
            way.numbers[number].constant = calculated(step.operation, *constantA, *constantB);
        return !way.numbers[number].constant;
    }

    void calculate(Way& way, std::size_t number) {
        Step step = {Action::keep};
        if (isTooLarge_ || !prepare(way, number, step))
            return;
        step.limit = way.numbers[number].limit;
        step.result = newPlace(way);
        way.numbers[number].place = step.result;
        tree_.steps_.push_back(step);
    }

    /// Notes what follows from a condition that is met or not.
    static void learn(Way& way, std::size_t condition, bool isMet) {
        Number& number = way.numbers[condition];
        if (number.constant)
            return;
        number.constant = isMet ? 1 : 0;
        number.range = {*number.constant, *number.constant};
        const auto [operation, a, b] = std::tuple(number.operation, number.a, number.b);
        if (operation == Operator::notTruth)
            learn(way, a, !isMet);
        if (operation == (isMet ? Operator::andBits : Operator::orBits)) {
            learn(way, a, isMet);
            learn(way, b, isMet);
        }
        if (isComparison(operation)) {
            const Operator comparison = isMet ? operation : opposite(operation);
            const Range rangeOfA = way.numbers[a].range;
            narrow(way.numbers[a].range, comparison, way.numbers[b].range);
            narrow(way.numbers[b].range, exchanged(comparison), rangeOfA);
        }
    }

    static void narrow(Range& range, Operator comparison, const Range& other) {
        if (comparison == Operator::eq || comparison == Operator::le)
            range.high = std::min(range.high, other.high);
        if (comparison == Operator::eq || comparison == Operator::ge)
            range.low = std::max(range.low, other.low);
        if (comparison == Operator::lt)
            range.high = std::min(range.high, std::nextafter(other.high, -infinite));
        if (comparison == Operator::gt)
            range.low = std::max(range.low, std::nextafter(other.low, infinite));
    }

    Outcome apply(Way& way, const CalculatorCode::Instruction& instruction) {
        const auto derived = [&](bool fits, std::size_t operands, Kind kind) {
            return fits ? derive(way, instruction.operation, operands, kind) : Outcome::failed;
        };
        const auto done = [](bool isDone) { return isDone ? Outcome::done : Outcome::failed; };
        const std::size_t size = way.stack.size();
        switch (instruction.operation) {
        case Operator::push:
            if (size == CalculatorCode::mostOperands)
                return Outcome::failed;
            way.pushConstant(instruction.value.number, instruction.value.kind);
            return Outcome::done;
        case Operator::pop:
            if (size != 0)
                way.stack.pop_back();
            return done(size != 0);
        case Operator::dup:
            return done(size != 0 && repeat(way, size - 1, 1));
        case Operator::exch:
            if (size > 1)
                std::swap(way.top(), way.top(1));
            return done(size > 1);
        case Operator::copy:
        case Operator::index:
        case Operator::roll:
            return move(way, instruction.operation);

        case Operator::abs:
        case Operator::ceiling:
        case Operator::floor:
        case Operator::neg:
        case Operator::round:
        case Operator::truncate:
            return way.hasNumbers(1) ? derived(true, 1, way.top().kind) : Outcome::failed;
        case Operator::cvi:
            return derived(way.hasNumbers(1), 1, Kind::integer);
        case Operator::cvr:
            if (way.hasNumbers(1))
                way.top().kind = Kind::real;
            return done(way.hasNumbers(1));
        case Operator::cos:
        case Operator::ln:
        case Operator::log:
        case Operator::sin:
        case Operator::sqrt:
            return derived(way.hasNumbers(1), 1, Kind::real);
        case Operator::add:
        case Operator::mul:
        case Operator::sub:
            return derived(way.hasNumbers(2), 2, way.hasIntegers(2) ? Kind::integer : Kind::real);
        case Operator::atan:
        case Operator::div:
        case Operator::exp:
            return derived(way.hasNumbers(2), 2, Kind::real);
        case Operator::ge:
        case Operator::gt:
        case Operator::le:
        case Operator::lt:
            return derived(way.hasNumbers(2), 2, Kind::boolean);
        case Operator::eq:
        case Operator::ne:
            return derived(size > 1 && (way.top().kind == Kind::boolean) ==
                                           (way.top(1).kind == Kind::boolean),
                           2, Kind::boolean);
        case Operator::bitshift:
        case Operator::idiv:
        case Operator::mod:
            return derived(way.hasIntegers(2), 2, Kind::integer);
        case Operator::andBits:
        case Operator::orBits:
        case Operator::xorBits:
            if (size < 2 || way.top().kind != way.top(1).kind || way.top().kind == Kind::real)
                return Outcome::failed;
            return deriveBits(way, instruction.operation, way.top().kind);
        case Operator::notBits:
        case Operator::notTruth:
            if (size == 0 || way.top().kind == Kind::real)
                return Outcome::failed;
            return way.hasTruth() ? derive(way, Operator::notTruth, 1, Kind::boolean)
                                  : derive(way, Operator::notBits, 1, Kind::integer);

        case Operator::jump:
        case Operator::jumpIfFalse:
            break; // not applied to operands
        }
        return Outcome::unknown;
    }

    /// Pushes operands that are in the stack again.
    static bool repeat(Way& way, std::size_t first, std::size_t count) {
        if (way.stack.size() + count > CalculatorCode::mostOperands)
            return false;
        for (std::size_t i = first; i < first + count; ++i)
            way.stack.push_back(Operand(way.stack[i]));
        return true;
    }

    /// `copy`, `index` and `roll`, by constant distances.
    static Outcome move(Way& way, Operator operation) {
        const std::size_t distances = operation == Operator::roll ? 2 : 1;
        if (!way.hasIntegers(distances))
            return Outcome::failed;
        const auto last = way.constant();
        const auto first = way.constant(distances - 1);
        if (!last || !first)
            return Outcome::unknown;
        way.stack.resize(way.stack.size() - distances);
        const std::size_t size = way.stack.size();
        if (*first < 0 || *first > static_cast<double>(size))
            return Outcome::failed;
        const auto count = static_cast<std::size_t>(*first);
        if (operation == Operator::copy)
            return repeat(way, size - count, count) ? Outcome::done : Outcome::failed;
        if (operation == Operator::index)
            return count < size && repeat(way, size - 1 - count, 1) ? Outcome::done
                                                                    : Outcome::failed;
        if (count != 0) {
            const auto length = static_cast<std::int64_t>(count);
            const std::int64_t up = (static_cast<std::int64_t>(*last) % length + length) % length;
            std::rotate(way.stack.end() - length, way.stack.end() - up, way.stack.end());
        }
        return Outcome::done;
    }

    /// Replaces operands that fit by what an operator makes of them.
    Outcome derive(Way& way, Operator operation, std::size_t operands, Kind kind) {
        const bool hasBits = operation == Operator::andBits || operation == Operator::orBits ||
                             operation == Operator::xorBits || operation == Operator::notBits;
        double limit = kind == Kind::integer ? CalculatorCode::largestInteger : largestReal;
        if (kind == Kind::boolean || hasBits)
            limit = infinite;
        Number result;
        result.operation = operation;
        result.b = way.take();
        result.a = operands == 2 ? way.take() : result.b;
        const Number& a = way.numbers[result.a];
        const Number& b = way.numbers[result.b];
        if (a.constant && b.constant) {
            const double value = calculated(operation, *a.constant, *b.constant);
            if (!(std::abs(value) <= limit))
                return Outcome::failed;
            way.pushConstant(value, kind);
            return Outcome::done;
        }
        result.range = rangeOf(operation, a.range, b.range);
        if (isComparison(operation) && result.range.low == result.range.high) {
            way.pushConstant(result.range.low, kind);
            return Outcome::done;
        }
        const bool isSound = result.range.isWithin(limit);
        if (!isSound) {
            result.limit = limit;
            result.range = {std::max(result.range.low, -limit), std::min(result.range.high, limit)};
        }
        way.push(result, kind);
        if (!isSound)
            calculate(way, way.top().number);
        return Outcome::done;
    }

    /// Of two integers or truth values. One truth value may be enough.
    Outcome deriveBits(Way& way, Operator operation, Kind kind) {
        if (kind == Kind::boolean && operation != Operator::xorBits) {
            const double decisive = operation == Operator::orBits ? 1 : 0;
            for (const std::size_t known : {std::size_t{0}, std::size_t{1}}) {
                if (const auto constant = way.constant(known)) {
                    const Operand result = way.top(*constant == decisive ? known : 1 - known);
                    way.stack.pop_back();
                    way.top() = result;
                    return Outcome::done;
                }
            }
        }
        return derive(way, operation, 2, kind);
    }

    const std::vector<CalculatorCode::Instruction>& instructions_;
    std::size_t outputs_;
    CalculatorTree tree_;
    std::size_t followed_ = 0;
    bool isTooLarge_ = false;
};

std::optional<CalculatorTree> CalculatorTree::of(const CalculatorCode& code, std::size_t inputs,
                                                 std::size_t outputs) {
    return Builder(code, outputs).build(inputs);
}

/// Follows the points that take the same way, and parts them where they do not.
class CalculatorTree::Evaluation {
public:
    Evaluation(const CalculatorTree& tree, std::size_t count, std::span<const Row> input,
               std::span<Row> output)
        : tree_(tree), output_(output) {
        for (std::size_t i = 0; i < input.size(); ++i)
            std::copy_n(input[i].begin(), count, places_[i + 1].begin());
    }

    /// The points from `first` up to `last`, from a step on.
    void follow(std::size_t step, std::size_t first, std::size_t last) {
        for (;;) {
            const Step& current = tree_.steps_[step];
            switch (current.action) {
            case Action::keep: {
                Row& result = places_[current.result];
                calculate(current, first, last, result);
                const auto isSound = [&](std::size_t point) {
                    return std::abs(result[point]) <= current.limit;
                };
                step = current.limit == infinite ? step + 1 : part(isSound, step, first, last);
                break;
            }
            case Action::branch: {
                calculate(current, first, last, conditions_);
                const auto isMet = [&](std::size_t point) { return conditions_[point] != 0; };
                step = part(isMet, step, first, last);
                break;
            }
            case Action::finish:
                return finish(current.target, first, last);
            case Action::fail:
                for (std::size_t point = first; point < last; ++point)
                    failed_.set(point);
                return;
            }
        }
    }

    const Points& failed() const { return failed_; }

private:
    using Calculate = void (*)(const double* a, const double* b, double* result, std::size_t count);

    template <Operator operation>
    static void calculateEach(const double* a, const double* b, double* __restrict result,
                              std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            result[i] = calculated(operation, a[i], b[i]);
    }

    template <std::size_t... operations>
    static constexpr auto table(std::index_sequence<operations...>) {
        return std::array<Calculate, sizeof...(operations)>{
            calculateEach<static_cast<Operator>(operations)>...};
    }

    void calculate(const Step& step, std::size_t first, std::size_t last, Row& result) {
        static constexpr auto each =
            table(std::make_index_sequence<static_cast<std::size_t>(Operator::push)>());
        if (step.a == 0 || step.b == 0)
            std::fill(places_[0].begin() + first, places_[0].begin() + last, step.constant);
        each[static_cast<std::size_t>(step.operation)](places_[step.a].data() + first,
                                                       places_[step.b].data() + first,
                                                       result.data() + first, last - first);
    }

    /// The next step of the last of the points, from `first` on; the others have been followed.
    template <typename IsMet>
    std::size_t part(const IsMet& isMet, std::size_t step, std::size_t& first, std::size_t last) {
        std::size_t count = 0;
        for (std::size_t point = first; point < last; ++point)
            count += isMet(point) ? 1U : 0U;
        const std::size_t other = tree_.steps_[step].target;
        if (count == last - first)
            return step + 1;
        if (count == 0)
            return other;

        Points met; // kept from those who go ahead
        for (std::size_t point = first; point < last; ++point)
            met[point] = isMet(point);
        for (std::size_t point = first + 1; point < last; ++point) {
            if (met[point] != met[first]) {
                follow(met[first] ? step + 1 : other, first, point);
                first = point;
            }
        }
        return met[first] ? step + 1 : other;
    }

    void finish(std::size_t result, std::size_t first, std::size_t last) {
        for (Row& row : output_) {
            const auto& [place, constant] = tree_.results_[result++];
            if (place == 0)
                std::fill(row.begin() + first, row.begin() + last, constant);
            else
                std::copy(places_[place].begin() + first, places_[place].begin() + last,
                          row.begin() + first);
        }
    }

    const CalculatorTree& tree_;
    std::span<Row> output_;
    Points failed_;
    Row conditions_;
    // Not filled first: no place is read before it is written.
    std::array<Row, mostPlaces> places_;
};

CalculatorTree::Points CalculatorTree::evaluate(std::size_t count, std::span<const Row> input,
                                                std::span<Row> output) const {
    Evaluation evaluation(*this, count, input, output);
    if (count != 0)
        evaluation.follow(1, 0, count);
    return evaluation.failed();
}

} // namespace Bleedwise
