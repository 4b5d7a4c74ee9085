#include "PrintPrep/platform/UTF8.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

void expectInvalid(const std::vector<std::string>& texts) {
    for (const std::string& text : texts)
        EXPECT_FALSE(UTF8::isValid(text)) << testing::PrintToString(text);
}

TEST(UTF8IsValid, TakesTheFirstAndLastCharacterOfEachLength) {
    for (const char* text : {"\x01", "\x7f", "\u0080", "\u07ff", "\u0800", "\ud7ff", "\ue000",
                             "\uffff", "\U00010000", "\U0010ffff"})
        EXPECT_TRUE(UTF8::isValid(text)) << testing::PrintToString(text);
}

TEST(UTF8IsValid, TakesAnEmptyText) {
    EXPECT_TRUE(UTF8::isValid(""));
}

TEST(UTF8IsValid, TakesNUL) {
    EXPECT_TRUE(UTF8::isValid(std::string(3, '\0')));
}

TEST(UTF8IsValid, TakesMixedText) {
    EXPECT_TRUE(UTF8::isValid("Gr\u00f6\u00dfe 3 \u20ac \u65e5\u672c \U0001f5a8\n"));
}

TEST(UTF8IsValid, RefusesBytesThatNeverOccur) {
    expectInvalid({"\xc0\x80", "\xc1\xbf", "\xf5\x80\x80\x80", "\xfe", "\xff"});
}

TEST(UTF8IsValid, RefusesOverlongForms) {
    expectInvalid({"\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf"});
}

TEST(UTF8IsValid, RefusesSurrogates) {
    expectInvalid({"\xed\xa0\x80", "\xed\xbf\xbf"});
}

TEST(UTF8IsValid, RefusesCharactersBeyondUnicode) {
    expectInvalid({"\xf4\x90\x80\x80"});
}

TEST(UTF8IsValid, RefusesSequencesThatAreCutShort) {
    expectInvalid({"\xc3", "\xe2\x82", "\xf0\x9f\x96", "text \xe2\x82"});
}

TEST(UTF8IsValid, RefusesSequencesThatSomethingElseInterrupts) {
    expectInvalid({"\xc3 ", "\xe2 \xac", "\xe2\x82 ", "\xf0\x9f\x96 ", "\xe2\x82\xc3\xa4"});
}

TEST(UTF8IsValid, RefusesAContinuationByteWithoutItsBeginning) {
    expectInvalid({"\x80", "a\xbf", "\u20ac\x82"});
}

} // namespace
} // namespace Bleedwise
