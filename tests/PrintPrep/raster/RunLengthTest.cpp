#include "PrintPrep/raster/RunLength.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace Bleedwise::RunLength {
namespace {

constexpr std::size_t unlimited = 1'000'000;

std::string encodedText(const std::string& text, std::size_t limit = unlimited) {
    const auto runs =
        encoded({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, limit);
    return runs ? *runs + endOfData : "too long";
}

/// As ISO 32000-1, 7.4.5 describes it.
std::string decoded(const std::string& data) {
    std::string result;
    for (std::size_t i = 0; i < data.size();) {
        const auto length = static_cast<unsigned char>(data[i++]);
        if (length == 128)
            return i == data.size() ? result : "data behind the end";
        if (length < 128) {
            result += data.substr(i, length + 1U);
            i += length + 1U;
        } else {
            result.append(257U - length, data.at(i++));
        }
    }
    return "no end";
}

TEST(RunLength, RepeatsABytesRun) {
    EXPECT_EQ(encodedText("aaaa"), "\xfd"
                                   "a\x80");
}

TEST(RunLength, CopiesBytesWithoutRuns) {
    EXPECT_EQ(encodedText("abcd"), "\x03"
                                   "abcd\x80");
}

TEST(RunLength, CopiesARunOfTwo) {
    EXPECT_EQ(encodedText("abbc"), "\x03"
                                   "abbc\x80");
}

TEST(RunLength, CanBeJoined) {
    EXPECT_EQ(decoded(encodedText("aaab").substr(0, 4) + encodedText("bccc")), "aaabbccc");
}

TEST(RunLength, OfNothingIsItsEnd) {
    EXPECT_EQ(encodedText(""), "\x80");
}

TEST(RunLength, TakesTwoBytesForEvery128OfARun) {
    EXPECT_EQ(encodedText(std::string(1280, 'a')).size(), 21U);
}

TEST(RunLength, GivesNothingBeyondItsLimit) {
    EXPECT_EQ(encodedText("abcd", 5), "\x03"
                                      "abcd\x80");
    EXPECT_EQ(encodedText("abcd", 4), "too long");
}

class RunLengthAround128 : public testing::TestWithParam<std::size_t> {};

TEST_P(RunLengthAround128, CanBeUndone) {
    const std::string run(GetParam(), 'r');
    std::string copy;
    while (copy.size() < GetParam())
        copy += static_cast<char>('a' + copy.size() % 7);
    for (const std::string& text : {run, copy, copy + run, run + copy, run + copy + run})
        EXPECT_EQ(decoded(encodedText(text)), text);
}

INSTANTIATE_TEST_SUITE_P(, RunLengthAround128,
                         testing::Values(1, 2, 3, 127, 128, 129, 130, 131, 255, 256, 257, 258),
                         testing::PrintToStringParamName());

RC_GTEST_PROP(RunLength, CanAlwaysBeUndone,
              (const std::vector<std::pair<std::uint8_t, std::uint8_t>>& runs)) {
    std::string text;
    for (const auto& [byte, count] : runs)
        text.append(1U + count % 9U * (count % 5U == 0 ? 40U : 1U), static_cast<char>(byte % 4));
    RC_ASSERT(decoded(encodedText(text)) == text);
}

/// Runs of three or more repeated and all else copied, in plain words.
std::string plainlyEncoded(const std::string& text) {
    std::string result;
    std::string copied;
    const auto copy = [&] {
        for (std::size_t i = 0; i < copied.size(); i += 128)
            result += static_cast<char>(std::min<std::size_t>(copied.size() - i, 128) - 1) +
                      copied.substr(i, 128);
        copied.clear();
    };
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t end = std::min(text.find_first_not_of(text[i], i), text.size());
        if (end - i < 3) {
            copied += text[i++];
            continue;
        }
        copy();
        for (; i < end; i += std::min<std::size_t>(end - i, 128)) {
            const std::size_t count = std::min<std::size_t>(end - i, 128);
            result += static_cast<char>(count == 1 ? 0 : 257 - count);
            result += text[i];
        }
    }
    copy();
    return result + endOfData;
}

RC_GTEST_PROP(RunLength, RepeatsAllRunsOfThreeAndCopiesTheRest, ()) {
    // Pixels of black alone, blank ones and others, as a text has them, from any byte on.
    std::string text(*rc::gen::inRange<std::size_t>(0, 4), 'x');
    for (const auto kind : *rc::gen::container<std::vector<int>>(rc::gen::inRange(0, 12)))
        text += kind < 4    ? std::string(3, '\0') + static_cast<char>(kind)
                : kind < 9  ? static_cast<char>(kind % 3) + std::string(3, '\0')
                : kind < 11 ? std::string(4 * static_cast<std::size_t>(kind), '\0')
                            : std::string("\1\1\0\1", 4);
    RC_ASSERT(encodedText(text) == plainlyEncoded(text));
}

TEST(RunLength, GivesNoPixelsOfBlackBeyondItsLimit) {
    std::string text;
    for (char black = 1; black <= 10; ++black)
        text += black + std::string(3, '\0');
    EXPECT_EQ(encodedText(text, 40).size(), 41U);
    EXPECT_EQ(encodedText(text, 39), "too long");
}

} // namespace
} // namespace Bleedwise::RunLength
