#include "PrintPrep/ProfileResolver.h"

#include "support/Command.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <string>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using Testing::CommandResult;
using Testing::TemporaryFolder;

constexpr const char* profileName = "ISOcoated_v2_eci.icc";
constexpr const char* bundleName = "Bleedwise_Bleedwise.bundle";

/// A program that prints where it finds the profile, copied into the folder `bin` of an
/// installation of its own.
class ProfileResolverTest : public testing::Test {
protected:
    /// The program as it is built: the build tree holds a resource bundle.
    void installBuiltProgram() const { install(PROFILE_PROBE); }
    /// The program as it is on another machine, where there is no build tree.
    void installDeployedProgram() const { install(DEPLOYED_PROFILE_PROBE); }

    std::string addMainBundle() const {
        std::filesystem::create_directories(folder / "share/bleedwise");
        return folder.file(path("share/bleedwise") / profileName, "main");
    }

    std::string addResourceBundle() const {
        std::filesystem::create_directory(resourceBundle());
        return folder.file(path("bin") / bundleName / profileName, "resource");
    }

    path resourceBundle() const { return folder / "bin" / bundleName; }

    /// What the program prints; it must succeed.
    std::string found() const { return Testing::outputOf({folder / "bin/probe"}); }

    const TemporaryFolder folder;

private:
    void install(const path& program) const {
        std::filesystem::create_directory(folder / "bin");
        std::filesystem::copy_file(program, folder / "bin/probe");
    }
};

TEST_F(ProfileResolverTest, PrefersTheMainBundleToTheResourceBundle) {
    installDeployedProgram();
    addResourceBundle();
    const std::string inMainBundle = addMainBundle();
    EXPECT_EQ(found(), inMainBundle);
}

TEST_F(ProfileResolverTest, DoesNotOpenTheResourceBundleWhenTheMainBundleHasTheProfile) {
    installDeployedProgram(); // which would die without a resource bundle
    const std::string inMainBundle = addMainBundle();
    EXPECT_EQ(found(), inMainBundle);
}

TEST_F(ProfileResolverTest, FindsTheProfileInTheResourceBundleBesideTheProgram) {
    installDeployedProgram();
    const std::string inResourceBundle = addResourceBundle();
    EXPECT_EQ(found(), inResourceBundle);
}

TEST_F(ProfileResolverTest, PrefersTheResourceBundleBesideTheProgramToTheBuildTree) {
    installBuiltProgram();
    const std::string inResourceBundle = addResourceBundle();
    EXPECT_EQ(found(), inResourceBundle);
}

TEST_F(ProfileResolverTest, FallsBackToTheBuildTree) {
    installBuiltProgram();
    EXPECT_EQ(found(), path(BLEEDWISE_EXECUTABLE).parent_path() / bundleName / profileName);
}

TEST_F(ProfileResolverTest, FindsNothingInAResourceBundleWithoutTheProfile) {
    installDeployedProgram();
    std::filesystem::create_directory(resourceBundle());
    EXPECT_EQ(found(), "nothing");
}

TEST_F(ProfileResolverTest, DoesNotLookPastAResourceBundleWithoutTheProfile) {
    installBuiltProgram();
    std::filesystem::create_directory(resourceBundle());
    EXPECT_EQ(found(), "nothing");
}

TEST_F(ProfileResolverTest, DoesNotTakeAFolderForTheProfile) {
    installDeployedProgram();
    std::filesystem::create_directories(folder / "share/bleedwise" / profileName);
    const std::string inResourceBundle = addResourceBundle();
    EXPECT_EQ(found(), inResourceBundle);
}

TEST_F(ProfileResolverTest, FollowsALinkToTheProfile) {
    installDeployedProgram();
    const path original = folder.file("original", "profile");
    std::filesystem::create_directories(folder / "share/bleedwise");
    std::filesystem::create_symlink(original, folder / "share/bleedwise" / profileName);
    EXPECT_EQ(found(), folder / "share/bleedwise" / profileName);
}

TEST_F(ProfileResolverTest, StartsAtTheProgramItselfWhenStartedThroughALink) {
    installDeployedProgram();
    const std::string inMainBundle = addMainBundle();
    const TemporaryFolder elsewhere;
    std::filesystem::create_symlink(folder / "bin/probe", elsewhere / "probe");
    EXPECT_EQ(Testing::outputOf({elsewhere / "probe"}), inMainBundle);
}

TEST_F(ProfileResolverTest, EndsTheProcessWithBothPathsWhenThereIsNoBundleAtAll) {
    installDeployedProgram();
    const CommandResult result = Testing::run({folder / "bin/probe"});
    EXPECT_EQ(result.status, 128 + SIGABRT);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "could not load resource bundle: from " + resourceBundle().native() +
                                " or " DEPLOYED_PROFILE_PROBE_BUNDLE "\n");
}

TEST_F(ProfileResolverTest, DoesNotTakeAFileForTheResourceBundle) {
    installDeployedProgram();
    folder.file(path("bin") / bundleName, "no folder");
    EXPECT_EQ(Testing::run({folder / "bin/probe"}).status, 128 + SIGABRT);
}

TEST(ProfileResolver, FindsTheShippedProfileByteForByte) {
    const auto url = ProfileResolver::fogra39URL();
    ASSERT_TRUE(url);
    EXPECT_TRUE(Testing::contents(*url) == Testing::contents(path(BLEEDWISE_SOURCE_FOLDER) /
                                                             "Bleedwise/Resources" / profileName));
}

} // namespace
} // namespace Bleedwise
