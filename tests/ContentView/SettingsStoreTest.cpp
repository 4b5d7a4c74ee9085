#include "ContentView/SettingsStore.h"

#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <ostream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::ScopedVariable;
using Testing::TemporaryFolder;

class SettingsStoreTest : public testing::Test {
protected:
    void write(std::string_view text) const { folder.file("test.conf", text); }
    static SettingsStore store() { return SettingsStore("test"); }

    const TemporaryFolder folder;
    const ScopedVariable configuration = ScopedVariable("XDG_CONFIG_HOME", folder.path().native());
};

TEST_F(SettingsStoreTest, GivesTheDefaultsWithoutAFile) {
    EXPECT_EQ(store().text("trimWidthMM", "105"), "105");
    EXPECT_TRUE(store().boolean("sourceIncludesBleed", true));
    EXPECT_FALSE(store().boolean("useGhostscript", false));
}

TEST_F(SettingsStoreTest, IsNamedAfterTheProgram) {
    SettingsStore::standard().setText("bleedMM", "5");
    EXPECT_EQ(Testing::contents(folder / "app.bleedwise.Bleedwise.conf"), "[General]\nbleedMM=5\n");
}

TEST_F(SettingsStoreTest, ReadsAHandWrittenComma) {
    write("[General]\nbleedMM=3,0\n");
    EXPECT_EQ(store().text("bleedMM", "3"), "3,0");
}

TEST_F(SettingsStoreTest, KeepsABoolean) {
    store().setBoolean("useGhostscript", true);
    EXPECT_TRUE(store().boolean("useGhostscript", false));
}

TEST_F(SettingsStoreTest, GivesTheDefaultForADamagedText) {
    write("[General]\ntrimWidthMM=\"210\n");
    EXPECT_EQ(store().text("trimWidthMM", "105"), "105");
}

TEST_F(SettingsStoreTest, GivesTheDefaultForADamagedBoolean) {
    write("[General]\nsourceIncludesBleed=@Variant(\\0\\0)\n");
    EXPECT_TRUE(store().boolean("sourceIncludesBleed", true));
}

struct TypedText {
    std::string name;
    const char* text;
};
std::ostream& operator<<(std::ostream& stream, const TypedText& typed) {
    return stream << typed.name;
}

class SettingsStoreTexts : public SettingsStoreTest,
                           public testing::WithParamInterface<TypedText> {};

TEST_P(SettingsStoreTexts, AreKeptAsTyped) {
    const QString text = QString::fromUtf8(GetParam().text);
    store().setText("trimWidthMM", text);
    EXPECT_EQ(store().text("trimWidthMM", "default"), text);
}

INSTANTIATE_TEST_SUITE_P(
    All, SettingsStoreTexts,
    testing::Values(TypedText{"Number", "210"}, TypedText{"Comma", "148,5"}, TypedText{"Empty", ""},
                    TypedText{"Blank", " "}, TypedText{"BlanksAround", "  3 "},
                    TypedText{"Quotes", "\"3\""}, TypedText{"OneQuote", "\""},
                    TypedText{"Apostrophe", "'"}, TypedText{"Backslash", "\\"},
                    TypedText{"AtSign", "@3"}, TypedText{"AtSigns", "@@"},
                    TypedText{"QtsNothing", "@Invalid()"}, TypedText{"Semicolon", "; 3"},
                    TypedText{"Equals", "a=b"}, TypedText{"Heading", "[General]"},
                    TypedText{"PercentSign", "%20"}, TypedText{"FullWidth", "３"},
                    TypedText{"NoBreakBlank", "3\u00a0mm"}, TypedText{"Fraction", "3 ½″"},
                    TypedText{"BeyondTheBasicPlane", "😀"}, TypedText{"Boolean", "true"},
                    TypedText{"Tabulator", "1\t2"}, TypedText{"LineBreak", "1\n2"}),
    [](const auto& example) { return example.param.name; });

} // namespace
} // namespace Bleedwise
