#include "PrintPrep/raster/CalculatorTree.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Numbers = std::vector<double>;

/// Numbers as bits, which tell a negative zero from another; nothing of a function that fails.
using Bits = std::optional<std::vector<std::uint64_t>>;

/// Of as many points as can be evaluated together.
using Points = std::vector<Numbers>;

std::vector<Bits> evaluated(const CalculatorTree& tree, const Points& points, std::size_t outputs) {
    std::vector<CalculatorTree::Row> input(points.front().size());
    std::vector<CalculatorTree::Row> output(outputs);
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (std::size_t j = 0; j < input.size(); ++j)
            input[j][i] = points[i][j];
    }
    const auto failed = tree.evaluate(points.size(), input, output);
    std::vector<Bits> results(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (failed[i])
            continue;
        results[i].emplace();
        for (const CalculatorTree::Row& row : output)
            results[i]->push_back(std::bit_cast<std::uint64_t>(row[i]));
    }
    return results;
}

std::vector<Bits> interpreted(const CalculatorCode& code, const Points& points,
                              std::size_t outputs) {
    std::vector<Bits> results(points.size());
    Numbers output(outputs);
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (!code.interpret(points[i], output))
            continue;
        results[i].emplace();
        for (const double number : output)
            results[i]->push_back(std::bit_cast<std::uint64_t>(number));
    }
    return results;
}

std::optional<CalculatorTree> treeOf(const std::string& code, std::size_t inputs,
                                     std::size_t outputs) {
    return CalculatorTree::of(CalculatorCode::of(code).value(), inputs, outputs);
}

const Numbers remarkable = {0,          -0.0,   0.25,       0.5,
                            0.75,       1,      -1,         1.5,
                            -2.75,      1e-320, 2147483647, -2147483648,
                            4294967296, 1e-200, 1e200,      -std::numeric_limits<double>::max()};

struct Example {
    const char* name;
    const char* code;
    std::size_t outputs;
};

[[maybe_unused]] void PrintTo(const Example& example, std::ostream* stream) {
    *stream << example.code;
}

/// Functions of two inputs.
class FunctionWithATree : public testing::TestWithParam<Example> {};

TEST_P(FunctionWithATree, GivesWhatItsInterpretationDoes) {
    const std::size_t outputs = GetParam().outputs;
    const auto code = CalculatorCode::of(GetParam().code);
    ASSERT_TRUE(code);
    const auto tree = CalculatorTree::of(*code, 2, outputs);
    ASSERT_TRUE(tree);
    for (const double x : remarkable) {
        Points points;
        for (const double y : remarkable)
            points.push_back({x, y});
        EXPECT_EQ(evaluated(*tree, points, outputs), interpreted(*code, points, outputs)) << x;
    }
}

INSTANTIATE_TEST_SUITE_P(
    , FunctionWithATree,
    testing::Values(
        Example{"Nothing", "{}", 2}, Example{"Moves", "{2 copy 4 1 roll exch 3 index pop}", 3},
        Example{"RollsByAlmostNothing", "{0 5 roll 1 5 roll 2 -3 roll}", 2},
        Example{"NegativeZero", "{neg exch 0 mul}", 2},
        Example{"ZeroLessZero", "{0 sub exch 0.0 add}", 2},
        Example{"GradientAroundAPoint",
                "{exch atan 360 div dup 0 le {pop 1 0 .4 0} if dup dup 0 gt exch 1 le and {"
                "dup .5 le {0 sub 1 exch dup 3.2 mul exch -1.6 mul .4 add}"
                "{.5 sub dup -4 mul 1 add exch .8 exch 4 mul} ifelse 0} if 0 gt {1 0 .4} if}",
                3},
        Example{"RepeatedGradient",
                "{exch atan 360 div 30 mul dup truncate sub dup 0 le {1 add} if "
                "dup .5 le {pop 0 0 0} {.5 sub pop 1 1 1} ifelse}",
                3},
        Example{"DividedByOpacity",
                "{pop dup dup 1 exch sub dup abs .00001 lt {pop pop 0 0} "
                "{dup 3 1 roll div 3 1 roll div} ifelse}",
                2},
        Example{"DepthsThatDiffer", "{gt {1} {1 2 3} ifelse}", 3},
        Example{"KindsThatDiffer", "{gt {1} {1.5} ifelse 2 idiv}", 1},
        Example{"TruthOrNumber", "{gt {true} {7} ifelse {8} if}", 1},
        Example{"ConditionUsedAgain", "{gt dup {1 exch} {2 exch} ifelse {3} {4} ifelse}", 2},
        Example{"DecidedByWhatIsKnown", "{pop dup 1 gt {0 gt {1} {2} ifelse} {2 gt} ifelse}", 1},
        Example{"MetTogether",
                "{2 copy 0 ge exch 1 le and {ge {1} {2} ifelse} {lt {3} {4} ifelse} ifelse}", 1},
        Example{"NeitherMet",
                "{2 copy 0 ge exch 1 le or not {ge {1} {2} ifelse} {lt {3} {4} ifelse} ifelse}", 1},
        Example{"EqualNumbers", "{2 copy eq {div} {sub 1 exch div} ifelse}", 1},
        Example{"TruthCompared", "{1 gt exch 1 gt eq {1} {2} ifelse}", 1},
        Example{"TruthThatDecides", "{1 gt false and exch 1 gt true or {{2} {3} ifelse} if}", 1},
        Example{"TruthThatDoesNot", "{1 gt true and exch 1 gt false or {{2} {3} ifelse} if}", 1},
        Example{"TruthThatIsLearntBeforeItIsNeeded",
                "{1 gt exch 1 gt 2 copy xor 3 1 roll {{1} {2} ifelse} {{3} {4} ifelse} ifelse "
                "exch {5 add} if}",
                1},
        Example{"NumberOfTruthsThatAreLearnt",
                "{1 gt exch 1 gt 2 copy ne dup not 4 2 roll {{1} {2} ifelse} {{3} {4} ifelse} "
                "ifelse 3 1 roll eq {7} {8} ifelse}",
                2},
        Example{"FailureThatNoResultNeeds", "{div pop 1}", 1},
        Example{"FailureOfConstants", "{1 gt {pop 1 0 div} if}", 1},
        Example{"OverflowThatWouldVanish", "{mul 1 exch div}", 1},
        Example{"IntegersOnly", "{cvi exch cvi 2 copy add 3 1 roll 2 copy sub 3 1 roll mul}", 3},
        Example{"RootOfASine", "{sin sqrt exch pop}", 1},
        Example{"SignOfBits", "{cvi exch cvi xor 0 lt {1} {2} ifelse}", 1},
        Example{"BitsOfIntegers", "{cvi exch cvi 2 copy and 3 1 roll 2 copy or 3 1 roll xor}", 3},
        Example{"SmallestOfBits", "{cvi pop cvi -2147483647 1 sub xor neg}", 1},
        Example{"Shifted", "{cvi exch cvi bitshift}", 1},
        Example{"DividedIntegers", "{cvi exch cvi 2 copy idiv 3 1 roll mod}", 2},
        Example{"OtherCurves", "{sin exch cos 2 copy exp 3 1 roll ln exch sqrt log}", 3},
        Example{"TooFewResults", "{pop}", 2}, Example{"Truth", "{gt}", 1}),
    [](const auto& example) { return std::string(example.param.name); });

/// Comparisons, and of which operand of theirs is to be learnt.
class ComparedNumber
    : public testing::TestWithParam<std::tuple<const char*, const char*, const char*>> {};

TEST_P(ComparedNumber, IsAsMuchAsItsComparisonSays) {
    const auto& [order, first, second] = GetParam();
    for (const std::string other : {"0.25", "0.45", "0.5", "0.55", "0.75"}) {
        const std::string again = other + ' ' + second;
        const auto code =
            CalculatorCode::of("{dup 0.5 " + std::string(order) + first + " {" + again +
                               " {1} {2} ifelse} {" + again + " {3} {4} ifelse} ifelse}");
        ASSERT_TRUE(code);
        const auto tree = CalculatorTree::of(*code, 1, 1);
        ASSERT_TRUE(tree);
        const Points points = {{0.2},
                               {0.25},
                               {0.3},
                               {0.47},
                               {std::nextafter(0.5, 0)},
                               {0.5},
                               {std::nextafter(0.5, 1)},
                               {0.53},
                               {0.7},
                               {0.75},
                               {0.8}};
        EXPECT_EQ(evaluated(*tree, points, 1), interpreted(*code, points, 1)) << other;
    }
}

INSTANTIATE_TEST_SUITE_P(, ComparedNumber,
                         testing::Combine(testing::Values("", "exch "),
                                          testing::Values("eq", "ne", "gt", "ge", "lt", "le"),
                                          testing::Values("eq", "ne", "gt", "ge", "lt", "le")));

class FunctionWithoutATree : public testing::TestWithParam<const char*> {};

TEST_P(FunctionWithoutATree, MovesOperandsByItsInput) {
    EXPECT_FALSE(treeOf(GetParam(), 2, 1));
}

INSTANTIATE_TEST_SUITE_P(, FunctionWithoutATree,
                         testing::Values("{cvi index}", "{cvi copy}", "{cvi 1 roll}",
                                         "{cvi 1 exch roll}"));

std::string repeated(const std::string& part, int count) {
    std::string code = "{";
    for (int i = 0; i < count; ++i)
        code += part;
    return code + "}";
}

TEST(CalculatorTree, DoesNotOutgrowItsFunction) {
    const std::string twoWays = "dup sin 0 gt {1 add} {2 mul} ifelse ";
    EXPECT_TRUE(treeOf(repeated(twoWays, 5), 1, 1));
    EXPECT_FALSE(treeOf(repeated(twoWays, 30), 1, 1));
}

TEST(CalculatorTree, HasRoomForNoMoreThanSomeNumbers) {
    EXPECT_TRUE(treeOf(repeated("sin ", 250), 1, 1));
    EXPECT_FALSE(treeOf(repeated("sin ", 256), 1, 1));
    EXPECT_FALSE(treeOf(repeated("sin ", 5'000), 1, 1));
}

TEST(CalculatorTree, IsSoonFoundTooLarge) {
    // Each number is used twice, and nothing has to be calculated before the end.
    EXPECT_FALSE(treeOf(repeated("sin dup mul ", 300), 1, 1));
}

TEST(CalculatorTree, HasNoMoreInputsThanThereAreOperands) {
    EXPECT_TRUE(treeOf("{pop 1}", 100, 1));
    EXPECT_FALSE(treeOf("{pop 1}", 101, 1));
}

/// Programs that know roughly what is on the stack, so that many of them succeed.
class RandomPrograms {
public:
    static constexpr std::size_t inputs = 2;

    std::string next() {
        stack_ = "rr";
        return procedure(0);
    }

    double number() {
        switch (below(4)) {
        case 0:
            return remarkable[below(remarkable.size())];
        case 1:
            return static_cast<double>(below(9)) - 4;
        default:
            return (static_cast<double>(below(4'000'001)) - 2'000'000) / 1'000'000;
        }
    }

private:
    // Not a distribution of the library's, which differs from one to the next.
    std::size_t below(std::size_t end) { return engine_() % end; }

    template <std::size_t count>
    std::string oneOf(const std::array<const char*, count>& names) {
        return names[below(count)];
    }

    std::string procedure(int depth) {
        std::string code = "{";
        for (std::size_t length = 1 + below(depth == 0 ? 14 : 5); length > 0; --length)
            code += instruction(depth) + ' ';
        return code + '}';
    }

    bool endsWith(std::string_view kinds, std::string_view alternative = "-") const {
        return stack_.ends_with(kinds) || stack_.ends_with(alternative);
    }
    void replace(std::size_t count, const std::string& kinds) {
        stack_.resize(stack_.size() - std::min(count, stack_.size()));
        stack_ += kinds;
    }

    std::string instruction(int depth) {
        if (stack_.ends_with('b') && depth < 4 && below(2) == 0)
            return condition(depth);
        switch (below(12)) {
        case 0:
        case 1:
            return constant();
        case 2:
        case 3:
            return move();
        case 4:
        case 5:
            return unary();
        case 6:
        case 7:
            return comparison();
        default:
            return binary();
        }
    }

    std::string condition(int depth) {
        replace(1, "");
        const std::string before = stack_;
        std::string code = procedure(depth + 1);
        if (below(2) == 0)
            return code + " if";
        const std::string after = stack_;
        stack_ = before;
        code += procedure(depth + 1);
        stack_ = after; // or not: some programs fail
        return code + " ifelse";
    }

    std::string constant() {
        switch (below(5)) {
        case 0:
            replace(0, "b");
            return oneOf<2>({"true", "false"});
        case 1:
        case 2:
            replace(0, "i");
            return oneOf<9>({"0", "1", "2", "3", "-1", "-7", "31", "2147483647", "360"});
        default:
            replace(0, "r");
            return oneOf<9>(
                {"0.0", "0.5", ".25", "1.0", "-0.0", "-1.5", "360.0", "3000000000", "0.001"});
        }
    }

    std::string move() {
        const std::size_t size = stack_.size();
        switch (below(6)) {
        case 0:
            replace(0, stack_.substr(size - std::min<std::size_t>(size, 1)));
            return "dup";
        case 1:
            if (size > 1)
                std::swap(stack_[size - 1], stack_[size - 2]);
            return "exch";
        case 2:
            if (size > 2)
                replace(1, "");
            return size > 2 ? "pop" : "";
        case 3: {
            const std::size_t count = below(std::min<std::size_t>(size, 3) + 1);
            replace(0, stack_.substr(size - count));
            return std::to_string(count) + " copy";
        }
        case 4: {
            const std::size_t place = below(std::max<std::size_t>(size, 1));
            if (place < size)
                stack_ += stack_[size - 1 - place];
            return std::to_string(place) + " index";
        }
        default: {
            const std::size_t count = below(std::min<std::size_t>(size, 4) + 1);
            const std::size_t up = below(count + 1);
            std::rotate(stack_.end() - static_cast<std::ptrdiff_t>(count),
                        stack_.end() - static_cast<std::ptrdiff_t>(up), stack_.end());
            return std::to_string(count) + ' ' + std::to_string(up) + " roll";
        }
        }
    }

    std::string unary() {
        if (stack_.ends_with('b') || (stack_.ends_with('i') && below(4) == 0))
            return "not";
        switch (below(4)) {
        case 0:
            replace(1, "i");
            return "cvi";
        case 1:
            replace(1, "r");
            return oneOf<6>({"cvr", "sin", "cos", "sqrt", "ln", "log"});
        default:
            return oneOf<6>({"abs", "neg", "ceiling", "floor", "round", "truncate"});
        }
    }

    std::string comparison() {
        if (endsWith("bb")) {
            replace(2, "b");
            return oneOf<5>({"and", "or", "xor", "eq", "ne"});
        }
        if (below(2) == 0) {
            replace(1, "b");
            return oneOf<5>({"0", "1", "0.5", ".25", "-1"}) + ' ' +
                   oneOf<6>({"eq", "ne", "gt", "ge", "lt", "le"});
        }
        replace(2, "b");
        return oneOf<6>({"eq", "ne", "gt", "ge", "lt", "le"});
    }

    std::string binary() {
        if (endsWith("bb"))
            return comparison();
        if (endsWith("ii") && below(2) == 0) {
            replace(2, "i");
            return oneOf<6>({"idiv", "mod", "bitshift", "and", "or", "xor"});
        }
        const bool areIntegers = endsWith("ii");
        if (below(4) == 0) {
            replace(2, "r");
            return oneOf<3>({"div", "atan", "exp"});
        }
        replace(2, areIntegers ? "i" : "r");
        return oneOf<3>({"add", "sub", "mul"});
    }

    std::mt19937 engine_{20'000}; // NOLINT: the same programs each time
    std::string stack_;
};

TEST(CalculatorTree, GivesWhatTheInterpretationOfAnyFunctionDoes) {
    RandomPrograms programs;
    int successes = 0;
    int failures = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::string text = programs.next();
        const auto code = CalculatorCode::of(text);
        ASSERT_TRUE(code) << text;
        const std::size_t outputs = 1 + static_cast<std::size_t>(i % 3);
        const auto tree = CalculatorTree::of(*code, RandomPrograms::inputs, outputs);
        if (!tree)
            continue;
        Points points;
        for (int j = 0; j < 10; ++j)
            points.push_back({programs.number(), programs.number()});
        const std::vector<Bits> expected = interpreted(*code, points, outputs);
        ASSERT_EQ(evaluated(*tree, points, outputs), expected) << text;
        for (const Bits& bits : expected)
            ++(bits ? successes : failures);
    }
    // Neither is an accident.
    EXPECT_GT(successes, 20'000);
    EXPECT_GT(failures, 10'000);
}

} // namespace
} // namespace Bleedwise
