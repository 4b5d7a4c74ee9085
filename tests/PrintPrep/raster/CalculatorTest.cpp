#include "PrintPrep/raster/Calculator.h"

#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Numbers = std::vector<double>;

/// Nothing when the function fails, or is none.
std::optional<Numbers> results(const std::string& code, const Numbers& input, std::size_t count) {
    const auto calculator = Calculator::of(code, input.size(), count);
    std::vector<Calculator::Row> inputRows(input.size());
    for (std::size_t i = 0; i < input.size(); ++i)
        inputRows[i][0] = input[i];
    std::vector<Calculator::Row> outputRows(count);
    if (!calculator || calculator->evaluate(1, inputRows, outputRows).any())
        return std::nullopt;
    Numbers output;
    for (const Calculator::Row& row : outputRows)
        output.push_back(row[0]);
    return output;
}

struct Example {
    const char* name;
    const char* code;
    Numbers expected;
};

[[maybe_unused]] void PrintTo(const Example& example, std::ostream* stream) {
    *stream << example.code;
}

class CalculatorOperators : public testing::TestWithParam<Example> {};

TEST_P(CalculatorOperators, GiveWhatTheyShould) {
    const auto output = results(GetParam().code, {}, GetParam().expected.size());
    ASSERT_TRUE(output);
    for (std::size_t i = 0; i < output->size(); ++i)
        EXPECT_NEAR((*output)[i], GetParam().expected[i], 1e-12) << i;
}

INSTANTIATE_TEST_SUITE_P(
    , CalculatorOperators,
    testing::Values(
        Example{"Abs", "{-3 abs -2.5 abs}", {3, 2.5}}, Example{"Add", "{3 4.5 add}", {7.5}},
        Example{"And", "{12 10 and}", {8}},
        Example{"AndOfTruth", "{true false and {1} {2} ifelse}", {2}},
        Example{"Atan", "{0 1 atan 1 0 atan -1 0 atan 1 1 atan}", {0, 90, 270, 45}},
        Example{"Bitshift", "{7 3 bitshift 142 -3 bitshift -1 -28 bitshift}", {56, 17, 15}},
        Example{"BitshiftByALot", "{7 40 bitshift 7 -40 bitshift}", {0, 0}},
        Example{"Ceiling", "{3.2 ceiling -4.8 ceiling 99 ceiling}", {4, -4, 99}},
        Example{"Copy", "{1 2 3 2 copy 0 copy}", {1, 2, 3, 2, 3}},
        Example{"Cos", "{0 cos 60 cos}", {1, 0.5}},
        Example{"Cvi", "{-47.8 cvi 520.9 cvi 3 mod}", {-47, 1}},
        Example{"Cvr", "{7 cvr 2 div}", {3.5}}, Example{"Div", "{3 2 div 4 2 div}", {1.5, 2}},
        Example{"Dup", "{5 dup}", {5, 5}},
        Example{"Eq", "{4.0 4 eq {1} {2} ifelse true true eq {3} if}", {1, 3}},
        Example{"Exch", "{1 2 exch}", {2, 1}},
        Example{"Exp", "{9 0.5 exp -9 -1 exp}", {3, -1.0 / 9}},
        Example{"Floor", "{3.2 floor -4.8 floor}", {3, -5}},
        Example{"Ge", "{4.2 4 ge {1} {0} ifelse 4 4 ge {1} {0} ifelse}", {1, 1}},
        Example{"Gt", "{4.2 4 gt {1} {0} ifelse 4 4 gt {1} {0} ifelse}", {1, 0}},
        Example{"Idiv", "{3 2 idiv -5 2 idiv}", {1, -2}},
        Example{"Index", "{7 8 9 0 index 3 index}", {7, 8, 9, 9, 7}},
        Example{"Le", "{4 4 le {1} {0} ifelse 5 4 le {1} {0} ifelse}", {1, 0}},
        Example{"Ln", "{10 ln}", {2.302585092994046}}, Example{"Log", "{100 log}", {2}},
        Example{"Lt", "{3 4 lt {1} {0} ifelse 4 4 lt {1} {0} ifelse}", {1, 0}},
        Example{"Mod", "{5 3 mod -5 3 mod}", {2, -2}}, Example{"Mul", "{3 1.5 mul}", {4.5}},
        Example{"Ne", "{4 5 ne {1} {0} ifelse}", {1}},
        Example{"Neg", "{4.5 neg -3 neg}", {-4.5, 3}},
        Example{"Not", "{52 not true not {1} {2} ifelse}", {-53, 2}},
        Example{"Or", "{17 5 or true false or {1} if}", {21, 1}}, Example{"Pop", "{1 2 pop}", {1}},
        Example{"Roll",
                "{1 2 3 3 -1 roll 4 5 6 3 1 roll 7 8 2 0 roll 0 9 roll}",
                {2, 3, 1, 6, 4, 5, 7, 8}},
        Example{"Round", "{3.2 round 6.5 round -4.8 round -6.5 round}", {3, 7, -5, -6}},
        Example{"Sin", "{30 sin}", {0.5}}, Example{"Sqrt", "{2.25 sqrt}", {1.5}},
        Example{"Sub", "{3 4.5 sub}", {-1.5}},
        Example{"Truncate", "{3.7 truncate -3.7 truncate}", {3, -3}},
        Example{"Xor", "{7 3 xor 12 3 xor}", {4, 15}},
        Example{"Numbers", "{+1 -.5 2. 1.25}", {1, -0.5, 2, 1.25}},
        Example{"NoBlanks", "{true{1}{2}ifelse}", {1}},
        Example{"Comments", "{ 1 % 2 }\n 3 add}", {4}},
        Example{"IfThatIsPassedOver", "{1 false {5 add} if}", {1}},
        Example{"IfThatLeavesMore", "{1 true {2 3} if}", {1, 2, 3}},
        Example{"IfWithinIf", "{1 true {false {2} {3} ifelse add} if}", {4}}),
    [](const auto& example) { return std::string(example.param.name); });

TEST(Calculator, BeginsWithItsInput) {
    EXPECT_EQ(results("{exch}", {1, 2}, 2), (Numbers{2, 1}));
}

TEST(Calculator, GivesTheTopmostNumbers) {
    EXPECT_EQ(results("{1 2 3}", {}, 2), (Numbers{2, 3}));
}

TEST(Calculator, MovesOperandsByItsInput) {
    EXPECT_EQ(results("{cvi index}", {7, 8, 1}, 1), (Numbers{7}));
    EXPECT_EQ(results("{cvi index}", {7, 8, 2}, 1), std::nullopt);
}

TEST(Calculator, BearsInputThatIsNoNumber) {
    const double none = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(results("{pop}", {3, none}, 1), (Numbers{3}));
    EXPECT_EQ(results("{add}", {3, none}, 1), std::nullopt);
}

TEST(Calculator, TellsThePointsWhereItFailsFromOthers) {
    for (const char* const code : {"{1 exch div}", "{dup cvi 0 mul index 1 exch div}"}) {
        const auto calculator = Calculator::of(code, 1, 1);
        ASSERT_TRUE(calculator);
        const std::vector<Calculator::Row> input = {{2, 0, 4, 0, 8}};
        std::vector<Calculator::Row> output(1);
        EXPECT_EQ(calculator->evaluate(5, input, output), Calculator::Points(0b01010)) << code;
        EXPECT_EQ(output[0][0], 0.5) << code;
        EXPECT_EQ(output[0][2], 0.25) << code;
        EXPECT_EQ(output[0][4], 0.125) << code;
    }
}

class NoCalculator : public testing::TestWithParam<const char*> {};

TEST_P(NoCalculator, IsMadeOfThis) {
    EXPECT_FALSE(Calculator::of(GetParam(), 0, 1));
}

INSTANTIATE_TEST_SUITE_P(, NoCalculator,
                         testing::Values("", "{", "1", "{1}}", "{1} 2", "{{1}}", "{true {1} {2}}",
                                         "{true {1} {2} if}", "{true {1} ifelse}", "{if}", "{quit}",
                                         "{1e}", "{--1}", "{16#ff}", "{nan}", "{inf}"));

TEST(Calculator, DoesNotNestWithoutEnd) {
    std::string code = "{";
    for (int depth = 0; depth < 100'000; ++depth)
        code += "true {";
    EXPECT_FALSE(Calculator::of(code, 0, 1));
}

class CalculatorFailure : public testing::TestWithParam<const char*> {};

TEST_P(CalculatorFailure, IsNoticed) {
    ASSERT_TRUE(Calculator::of(GetParam(), 0, 1));
    EXPECT_FALSE(results(GetParam(), {}, 1));
}

INSTANTIATE_TEST_SUITE_P(
    , CalculatorFailure,
    testing::Values("{}", "{true}", "{1 add}", "{true 1 add}", "{pop}", "{dup}", "{1 exch}",
                    "{1 0 div}", "{1 0 idiv}", "{1 0 mod}", "{1.5 2 idiv}", "{1 2.0 bitshift}",
                    "{-1 sqrt}", "{0 ln}", "{-1 log}", "{1 true eq}", "{1.5 not}", "{1 true and}",
                    "{1 2.0 or}", "{1 {2} if}", "{1 {2} {3} ifelse}", "{1 -1 copy}", "{1 2 copy}",
                    "{1 1.0 copy}", "{1 1 index}", "{1 -1 index}", "{1 2 1 roll}", "{1 -1 1 roll}",
                    "{1 1 0.5 roll}", "{2147483647 1 add}", "{3000000000 cvi}",
                    "{2147483647 neg 2 sub}", "{1 60 copy 1 60 copy}"));

TEST(Calculator, FailsWhenTheStackIsFull) {
    std::string code = "{1";
    for (int i = 0; i < 99; ++i)
        code += " dup";
    EXPECT_TRUE(results(code + "}", {}, 1));
    EXPECT_FALSE(results(code + " dup}", {}, 1));
}

} // namespace
} // namespace Bleedwise
