#include "ContentView/SettingsStore.h"

#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <ostream>
#include <string>

#include <QChar>
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

TEST_F(SettingsStoreTest, KnowsWhetherThereIsAValue) {
    write("[General]\nbleedMM=\n");
    EXPECT_TRUE(store().contains("bleedMM"));
    EXPECT_FALSE(store().contains("trimWidthMM"));
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

class SettingsStoreTexts : public SettingsStoreTest,
                           public testing::WithParamInterface<const char*> {};

TEST_P(SettingsStoreTexts, AreKeptAsTyped) {
    const QString text = QString::fromUtf8(GetParam());
    store().setText("trimWidthMM", text);
    EXPECT_EQ(store().text("trimWidthMM", "default"), text);
}

INSTANTIATE_TEST_SUITE_P(All, SettingsStoreTexts,
                         testing::Values("210", "148,5", "", " ", "  3 ", "\"3\"", "'", "\\", "@3",
                                         "@Invalid()", "@@", "; 3", "3;0", "a=b", "[General]",
                                         "%20", "３", "3\u00a0mm", "3 ½″", "😀", "true", "1\t2",
                                         "1\n2"));

} // namespace
} // namespace Bleedwise
