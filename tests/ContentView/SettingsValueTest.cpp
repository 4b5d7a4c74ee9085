#include "ContentView/SettingsValue.h"

#include "support/TemporaryFolder.h"

#include <ostream>
#include <string>
#include <vector>

#include <QSettings>
#include <gtest/gtest.h>
#include <rapidcheck.h>

namespace Bleedwise {
namespace {

using namespace std::string_literals;

struct TextCase {
    std::string name;
    std::string value;
    std::optional<std::string> text;
};
std::ostream& operator<<(std::ostream& stream, const TextCase& example) {
    return stream << example.name;
}

class SettingsValueText : public testing::TestWithParam<TextCase> {};

TEST_P(SettingsValueText, IsReadFromAHandWrittenValue) {
    EXPECT_EQ(SettingsValue::text(GetParam().value), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    All, SettingsValueText,
    testing::Values(TextCase{"Plain", "210", "210"}, TextCase{"CommaWithoutQuotes", "3,0", "3,0"},
                    TextCase{"CommaAndBlank", "3, 0", "3, 0"}, TextCase{"Empty", "", ""},
                    TextCase{"EmptyQuotes", R"("")", ""}, TextCase{"BlanksAround", "  3 \r", "3"},
                    TextCase{"QuotedBlanks", R"(" 3 ")", " 3 "},
                    TextCase{"Comment", "3 ; as the printer wants it", "3"},
                    TextCase{"QuotedSemicolon", R"("3;0")", "3;0"},
                    TextCase{"QuotesInside", R"(3" and "4)", "3 and 4"},
                    TextCase{"EscapedQuote", R"("3\"")", "3\""},
                    TextCase{"EscapedLineBreak", R"(3\n4)", "3\n4"},
                    TextCase{"HexadecimalEscape", R"(\xd7)", "×"},
                    TextCase{"LongHexadecimalEscape", R"(\x1f600)", "😀"},
                    TextCase{"OctalEscape", R"(\101)", "A"}, TextCase{"NonASCII", "３ mm", "３ mm"},
                    TextCase{"DoubledAtSign", "@@home", "@home"},
                    TextCase{"SingleAtSign", "@home", "@home"}, TextCase{"Equals", "a=b", "a=b"},
                    TextCase{"UnpairedQuote", R"("3)", std::nullopt},
                    TextCase{"TrailingBackslash", "3\\", std::nullopt},
                    TextCase{"UnknownEscape", R"(\q)", std::nullopt},
                    TextCase{"SurrogateEscape", R"(\xd800)", std::nullopt},
                    TextCase{"EscapeBeyondUnicode", R"(\x110000)", std::nullopt},
                    TextCase{"EscapeBeyondNumbers", R"(\xfffffffff)", std::nullopt},
                    TextCase{"InvalidUTF8", "3\xff", std::nullopt},
                    TextCase{"NoValueOfQt", "@Invalid()", std::nullopt},
                    TextCase{"BytesOfQt", "@ByteArray(3)", std::nullopt},
                    TextCase{"ObjectOfQt", R"(@Variant(\0\0\0\x9\0\xff\xff\xff\xe))",
                             std::nullopt}),
    [](const auto& example) { return example.param.name; });

struct BooleanCase {
    std::string name;
    std::string value;
    std::optional<bool> boolean;
};
std::ostream& operator<<(std::ostream& stream, const BooleanCase& example) {
    return stream << example.name;
}

class SettingsValueBoolean : public testing::TestWithParam<BooleanCase> {};

TEST_P(SettingsValueBoolean, IsReadFromAHandWrittenValue) {
    EXPECT_EQ(SettingsValue::boolean(GetParam().value), GetParam().boolean);
}

INSTANTIATE_TEST_SUITE_P(
    All, SettingsValueBoolean,
    testing::Values(BooleanCase{"True", "true", true}, BooleanCase{"False", "false", false},
                    BooleanCase{"Capitals", "TRUE", true}, BooleanCase{"Yes", "YES", true},
                    BooleanCase{"No", "no", false}, BooleanCase{"One", "1", true},
                    BooleanCase{"Zero", "0", false}, BooleanCase{"Quoted", R"("true")", true},
                    BooleanCase{"Empty", "", std::nullopt},
                    BooleanCase{"OtherNumber", "2", std::nullopt},
                    BooleanCase{"OtherWord", "maybe", std::nullopt},
                    BooleanCase{"Damaged", R"("true)", std::nullopt}),
    [](const auto& example) { return example.param.name; });

TEST(SettingsValue, WritesANumberWithoutQuotes) {
    EXPECT_EQ(SettingsValue::ofText("148.5"), "148.5");
}

TEST(SettingsValue, QuotesACommaForReadersThatMakeAListOfIt) {
    EXPECT_EQ(SettingsValue::ofText("148,5"), "\"148,5\"");
}

TEST(SettingsValue, WritesBooleansAsWords) {
    EXPECT_EQ(SettingsValue::ofBoolean(true), "true");
    EXPECT_EQ(SettingsValue::ofBoolean(false), "false");
}

/// Texts as people might type them, and worse: any characters, those with a meaning of their own
/// more often than chance has it.
rc::Gen<QString> texts() {
    const auto special =
        rc::gen::map(rc::gen::element<std::string>(
                         "\"", "\\", ",", ";", "=", "@", " ", "\t", "\n", "\r", "[", "x1f", "a",
                         "7", "\x1f", "\x7f", "@Invalid()", "@@", "\\x", "%", "×", "３", "\u00a0"),
                     [](const std::string& text) { return QString::fromStdString(text); });
    const auto any = rc::gen::map(
        rc::gen::suchThat(rc::gen::inRange<char32_t>(1, 0x110000),
                          [](char32_t character) { return !QChar::isSurrogate(character); }),
        [](char32_t character) { return QString::fromUcs4(&character, 1); });
    return rc::gen::map(
        rc::gen::container<std::vector<QString>>(rc::gen::oneOf(special, special, any)),
        [](const std::vector<QString>& parts) {
            QString text;
            for (const QString& part : parts)
                text += part;
            return text;
        });
}

TEST(SettingsValueProperty, EveryTextIsReadAsItWasWritten) {
    EXPECT_TRUE(rc::check([] {
        const std::string text = (*texts()).toStdString();
        RC_ASSERT(SettingsValue::text(SettingsValue::ofText(text)) == text);
    }));
}

TEST(SettingsValueProperty, EveryTextIsOnOneLine) {
    EXPECT_TRUE(rc::check([] {
        const std::string value = SettingsValue::ofText((*texts()).toStdString());
        RC_ASSERT(value.find_first_of("\r\n") == std::string::npos);
    }));
}

TEST(SettingsValueProperty, ReadingAnyBytesEnds) {
    EXPECT_TRUE(rc::check([](const std::string& value) {
        static_cast<void>(SettingsValue::text(value));
        static_cast<void>(SettingsValue::boolean(value));
    }));
}

TEST(SettingsValue, KeepsTheCharacterNUL) {
    EXPECT_EQ(SettingsValue::text(SettingsValue::ofText("a\0b"s)), "a\0b"s);
}

/// A file of QSettings' with one value. Qt keeps files in memory by name, so each has its own.
class ForeignFile {
public:
    QSettings settings() const {
        return QSettings(QString::fromStdString((folder_ / "a.conf").native()),
                         QSettings::IniFormat);
    }

    void write(const std::string& value) const {
        folder_.file("a.conf", "[General]\nkey=" + value);
    }

    std::string value() const {
        const std::string bytes = Testing::contents(folder_ / "a.conf");
        const std::size_t start = bytes.find("key=") + 4;
        return bytes.substr(start, bytes.find('\n', start) - start);
    }

private:
    Testing::TemporaryFolder folder_;
};

TEST(SettingsValueProperty, QSettingsReadsEveryTextAsItWasWritten) {
    EXPECT_TRUE(rc::check([] {
        const QString text = *texts();
        const ForeignFile file;
        file.write(SettingsValue::ofText(text.toStdString()));
        RC_ASSERT(file.settings().value("key").toString() == text);
    }));
}

TEST(SettingsValueProperty, ReadsEveryTextThatQSettingsWrote) {
    EXPECT_TRUE(rc::check([] {
        const QString text = *texts();
        const ForeignFile file;
        file.settings().setValue("key", text);
        RC_ASSERT(SettingsValue::text(file.value()) == text.toStdString());
    }));
}

} // namespace
} // namespace Bleedwise
