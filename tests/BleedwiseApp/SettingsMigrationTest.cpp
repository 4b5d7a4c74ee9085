#include "BleedwiseApp/SettingsMigration.h"

#include "support/ResourceLimit.h"
#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::contents;
using Testing::ScopedVariable;
using Testing::TemporaryFolder;

class SettingsMigrationTest : public testing::Test {
protected:
    void writeStandard(std::string_view text) const { folder.file(standardName, text); }
    void writeLegacy(std::string_view text) const { folder.file(legacyName, text); }
    std::string standard() const { return contents(folder / standardName); }
    std::string legacy() const { return contents(folder / legacyName); }

    static constexpr const char* standardName = "app.bleedwise.Bleedwise.conf";
    static constexpr const char* legacyName = "local.kestrel.Bleedwise.conf";

    const TemporaryFolder folder;
    const ScopedVariable configuration = ScopedVariable("XDG_CONFIG_HOME", folder.path().native());
};

TEST_F(SettingsMigrationTest, NotesThatItIsDoneWithoutOldSettings) {
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), "[General]\ndidMigrateReleaseBundleSettings=true\n");
}

TEST_F(SettingsMigrationTest, CopiesAnOldValue) {
    writeLegacy("[General]\nbleedMM=5\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), "[General]\nbleedMM=5\ndidMigrateReleaseBundleSettings=true\n");
}

TEST_F(SettingsMigrationTest, CopiesEachSettingAsItIsWritten) {
    writeLegacy("[General]\nuseGhostscript=true\ntrimWidthMM=\"148,5\"\ntrimHeightMM=3,0\n"
                "bleedMM=\nsourceIncludesBleed=false\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), "[General]\nbleedMM=\nsourceIncludesBleed=false\ntrimHeightMM=3,0\n"
                          "trimWidthMM=\"148,5\"\nuseGhostscript=true\n"
                          "didMigrateReleaseBundleSettings=true\n");
}

TEST_F(SettingsMigrationTest, KeepsAValueThatTheUserHas) {
    writeStandard("[General]\ntrimWidthMM=210\n");
    writeLegacy("[General]\ntrimWidthMM=99\nbleedMM=5\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), "[General]\ntrimWidthMM=210\nbleedMM=5\n"
                          "didMigrateReleaseBundleSettings=true\n");
}

TEST_F(SettingsMigrationTest, KeepsAValueThatIsEmpty) {
    writeStandard("[General]\ntrimWidthMM=\n");
    writeLegacy("[General]\ntrimWidthMM=99\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), "[General]\ntrimWidthMM=\ndidMigrateReleaseBundleSettings=true\n");
}

TEST_F(SettingsMigrationTest, LeavesOtherOldKeysBehind) {
    writeLegacy("[General]\nwindowWidth=800\n[Other]\nbleedMM=5\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), "[General]\ndidMigrateReleaseBundleSettings=true\n");
}

TEST_F(SettingsMigrationTest, KeepsTheUsersOtherKeys) {
    writeStandard("; mine\n[General]\nwindowWidth=800\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(),
              "; mine\n[General]\nwindowWidth=800\ndidMigrateReleaseBundleSettings=true\n");
}

TEST_F(SettingsMigrationTest, ChangesNothingTheSecondTime) {
    writeLegacy("[General]\nbleedMM=5\n");
    SettingsMigration::runIfNeeded();
    const std::string first = standard();
    writeLegacy("[General]\nbleedMM=7\ntrimWidthMM=99\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), first);
}

TEST_F(SettingsMigrationTest, IsNotMadeUpForWhenOldSettingsAppearLater) {
    SettingsMigration::runIfNeeded();
    const std::string first = standard();
    writeLegacy("[General]\nbleedMM=5\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), first);
}

TEST_F(SettingsMigrationTest, DoesNotWriteWhenItIsDone) {
    SettingsMigration::runIfNeeded();
    const std::filesystem::path file = folder / standardName;
    const auto old = std::filesystem::file_time_type(std::chrono::seconds(1));
    std::filesystem::last_write_time(file, old);
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(std::filesystem::last_write_time(file), old);
}

TEST_F(SettingsMigrationTest, RunsWhenTheNoteSaysThatItHasNotRun) {
    writeStandard("[General]\ndidMigrateReleaseBundleSettings=false\n");
    writeLegacy("[General]\nbleedMM=5\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), "[General]\ndidMigrateReleaseBundleSettings=true\nbleedMM=5\n");
}

TEST_F(SettingsMigrationTest, LeavesTheOldSettingsAsTheyAre) {
    writeLegacy("[General]\nbleedMM=5\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(legacy(), "[General]\nbleedMM=5\n");
}

TEST_F(SettingsMigrationTest, TakesAFolderInTheOldSettingsPlaceForNone) {
    std::filesystem::create_directory(folder / legacyName);
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(standard(), "[General]\ndidMigrateReleaseBundleSettings=true\n");
}

TEST_F(SettingsMigrationTest, IsMadeUpForWhenTheValuesCouldNotBeStored) {
    writeStandard("[General]\n");
    writeLegacy("[General]\nbleedMM=\"" + std::string(100, '5') + "\"\n");
    {
        // Room for the note that it is done, but not for the value.
        const Testing::FileSizeLimit limit(80);
        SettingsMigration::runIfNeeded();
    }
    EXPECT_EQ(standard(), "[General]\n");
    SettingsMigration::runIfNeeded();
    EXPECT_NE(standard().find(std::string(100, '5')), std::string::npos);
}

TEST_F(SettingsMigrationTest, DoesNothingWhenTheSettingsCannotBeWritten) {
    std::filesystem::create_directory(folder / standardName);
    writeLegacy("[General]\nbleedMM=5\n");
    SettingsMigration::runIfNeeded();
    EXPECT_EQ(Testing::entryCount(folder / standardName), 0U);
}

} // namespace
} // namespace Bleedwise
