#include "PrintPrep/OutputNamer.h"

#include "PrintPrep/platform/FileSystemError.h"
#include "support/OrdinaryUser.h"
#include "support/ResourceLimit.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using Testing::contents;
using Testing::entryCount;
using Testing::TemporaryFolder;

/// What `replaceItem` says about a move that must fail.
struct Failure {
    int code = 0;
    std::string description;
};

Failure failureOf(const path& destination, const path& source) {
    try {
        OutputNamer::replaceItem(destination, source);
    } catch (const FileSystemError& error) {
        return {error.code(), error.errorDescription()};
    }
    ADD_FAILURE() << "moved " << source << " to " << destination;
    return {};
}

unsigned permissionsOf(const path& file) {
    return static_cast<unsigned>(std::filesystem::status(file).permissions());
}

TEST(DefaultOutputURL, IsBesideTheInputWithTheSuffix) {
    EXPECT_EQ(OutputNamer::defaultOutputURL("/print/poster.pdf", {210, 297, 3, true, true}),
              "/print/poster_PRINT_210x297_3mm_FOGRA39_CMYK.pdf");
}

TEST(DefaultOutputURL, DropsOnlyTheLastExtension) {
    EXPECT_EQ(OutputNamer::defaultOutputURL("/print/a.b.pdf", {210, 297, 3, true, true}),
              "/print/a.b_PRINT_210x297_3mm_FOGRA39_CMYK.pdf");
}

TEST(DefaultOutputURL, KeepsASizeInTheNameOfTheInput) {
    EXPECT_EQ(
        OutputNamer::defaultOutputURL("/print/poster_210x297mm.pdf", {210, 297, 3, true, true}),
        "/print/poster_210x297mm_PRINT_210x297_3mm_FOGRA39_CMYK.pdf");
}

TEST(DefaultOutputURL, HasTheRasterSuffixInRasterMode) {
    EXPECT_EQ(OutputNamer::defaultOutputURL("/print/poster.pdf", {210, 297, 3, true, false}),
              "/print/poster (CMYK raster).pdf");
}

TEST(DefaultOutputURL, TakesAnInputWithoutExtension) {
    EXPECT_EQ(OutputNamer::defaultOutputURL("/print/poster", {1, 2, 0, true, true}),
              "/print/poster_PRINT_1x2_0mm_FOGRA39_CMYK.pdf");
}

TEST(DefaultOutputURL, KeepsTheBytesOfTheName) {
    EXPECT_EQ(OutputNamer::defaultOutputURL("/w \xff/100% \"\xe9\".pdf", {1, 2, 0, true, true}),
              "/w \xff/100% \"\xe9\"_PRINT_1x2_0mm_FOGRA39_CMYK.pdf");
}

TEST(ReplaceItem, MovesToANameThatIsFree) {
    const TemporaryFolder folder;
    OutputNamer::replaceItem(folder / "result", folder.file("work", "new"));
    EXPECT_EQ(contents(folder / "result"), "new");
    EXPECT_EQ(entryCount(folder.path()), 1U);
}

TEST(ReplaceItem, ReplacesAFileThatIsThere) {
    const TemporaryFolder folder;
    folder.file("result", "old and longer");
    OutputNamer::replaceItem(folder / "result", folder.file("work", "new"));
    EXPECT_EQ(contents(folder / "result"), "new");
    EXPECT_EQ(entryCount(folder.path()), 1U);
}

TEST(ReplaceItem, MovesWithoutCopyingOnOneFileSystem) {
    const TemporaryFolder folder;
    struct stat before = {};
    struct stat after = {};
    ASSERT_EQ(::stat(folder.file("work", "new").c_str(), &before), 0);
    OutputNamer::replaceItem(folder / "result", folder / "work");
    ASSERT_EQ(::stat((folder / "result").c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
}

TEST(ReplaceItem, KeepsAFileThatIsMovedOntoItself) {
    const TemporaryFolder folder;
    const path file = folder.file("result", "bytes");
    OutputNamer::replaceItem(file, file);
    EXPECT_EQ(contents(file), "bytes");
}

TEST(ReplaceItem, ReplacesALinkAndNotWhatItPointsTo) {
    const TemporaryFolder folder;
    folder.file("original", "old");
    std::filesystem::create_symlink("original", folder / "result");
    OutputNamer::replaceItem(folder / "result", folder.file("work", "new"));
    EXPECT_FALSE(std::filesystem::is_symlink(folder / "result"));
    EXPECT_EQ(contents(folder / "result"), "new");
    EXPECT_EQ(contents(folder / "original"), "old");
}

TEST(ReplaceItem, ReplacesALinkToNothing) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("missing", folder / "result");
    OutputNamer::replaceItem(folder / "result", folder.file("work", "new"));
    EXPECT_EQ(contents(folder / "result"), "new");
}

TEST(ReplaceItem, MovesToNamesOfArbitraryBytes) {
    const TemporaryFolder folder;
    for (const char* name :
         {"a b", "100%", "\"quoted\"", "-o", "\xff\xfe", "\u65e5\u672c", "a\nb"}) {
        OutputNamer::replaceItem(folder / name, folder.file("work", name));
        EXPECT_EQ(contents(folder / name), name);
    }
}

TEST(ReplaceItem, KeepsTheDestinationWhenTheSourceIsMissing) {
    const TemporaryFolder folder;
    folder.file("result", "old");
    EXPECT_EQ(failureOf(folder / "result", folder / "missing").code, ENOENT);
    EXPECT_EQ(contents(folder / "result"), "old");
}

TEST(ReplaceItem, RefusesAFolderAndKeepsIt) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "result");
    folder.file("result/inside", "kept");
    const Failure failure = failureOf(folder / "result", folder.file("work", "new"));
    EXPECT_EQ(failure.code, EISDIR);
    EXPECT_EQ(contents(folder / "result/inside"), "kept");
    EXPECT_EQ(contents(folder / "work"), "new");
}

TEST(ReplaceItem, RefusesAnEmptyFolderAndKeepsIt) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "result");
    EXPECT_EQ(failureOf(folder / "result", folder.file("work", "new")).code, EISDIR);
    EXPECT_TRUE(std::filesystem::is_directory(folder / "result"));
}

TEST(ReplaceItem, RefusesALinkToAFolder) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "real");
    std::filesystem::create_symlink("real", folder / "result");
    EXPECT_EQ(failureOf(folder / "result", folder.file("work", "new")).code, EISDIR);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "result"));
}

TEST(ReplaceItem, RefusesANamedPipeAndKeepsIt) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "result").c_str(), 0600), 0);
    EXPECT_EQ(failureOf(folder / "result", folder.file("work", "new")).code, EINVAL);
    EXPECT_TRUE(std::filesystem::is_fifo(folder / "result"));
    EXPECT_EQ(contents(folder / "work"), "new");
}

TEST(ReplaceItem, RefusesADeviceAndKeepsIt) {
    // One of its own: with a mistake in the code under test, the superuser would lose the system's.
    const TemporaryFolder folder;
    constexpr mode_t kind = S_IFCHR | 0600;
    if (::mknod((folder / "result").c_str(), kind, ::makedev(1, 3)) != 0)
        GTEST_SKIP() << "only the superuser can make a device";
    EXPECT_EQ(failureOf(folder / "result", folder.file("work", "new")).code, EINVAL);
    EXPECT_TRUE(std::filesystem::is_character_file(folder / "result"));
    EXPECT_EQ(contents(folder / "work"), "new");
}

TEST(ReplaceItem, KeepsTheSourceWhenTheFolderIsMissing) {
    const TemporaryFolder folder;
    EXPECT_EQ(failureOf(folder / "missing/result", folder.file("work", "new")).code, ENOENT);
    EXPECT_EQ(contents(folder / "work"), "new");
}

TEST(ReplaceItem, KeepsTheSourceWhenTheFolderIsAFile) {
    const TemporaryFolder folder;
    folder.file("file", "kept");
    EXPECT_EQ(failureOf(folder / "file/result", folder.file("work", "new")).code, ENOTDIR);
    EXPECT_EQ(contents(folder / "file"), "kept");
    EXPECT_EQ(contents(folder / "work"), "new");
}

TEST(ReplaceItem, TellsThePathAndTheReason) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "result");
    EXPECT_EQ(failureOf(folder / "result", folder.file("work", "new")).description,
              "Could not write \"" + (folder / "result").native() + "\": Is a directory");
}

TEST(ReplaceItem, SucceedsInAFolderThatMayBeWrittenButNotListed) {
    const TemporaryFolder folder;
    const path inbox = folder / "inbox";
    std::filesystem::create_directory(inbox);
    const path source = folder.file("work", "new");
    for (const path& url : {folder.path(), source})
        std::filesystem::permissions(url, std::filesystem::perms::all);
    ASSERT_EQ(::chmod(inbox.c_str(), 0333), 0);
    {
        const Testing::OrdinaryUser user;
        EXPECT_NO_THROW(OutputNamer::replaceItem(inbox / "result", source));
    }
    EXPECT_EQ(contents(inbox / "result"), "new");
}

/// Source and destination on two file systems, between which nothing can be renamed.
class ReplaceItemAcrossFileSystems : public testing::Test {
protected:
    void SetUp() override {
        struct stat here = {};
        struct stat there = {};
        ASSERT_EQ(::stat(sources.path().c_str(), &here), 0);
        ASSERT_EQ(::stat(results.path().c_str(), &there), 0);
        ASSERT_NE(here.st_dev, there.st_dev)
            << sources.path() << " and " << results.path() << " must be on different file systems";
    }

    const TemporaryFolder sources = TemporaryFolder("/dev/shm");
    const TemporaryFolder results = TemporaryFolder("/tmp");
};

TEST_F(ReplaceItemAcrossFileSystems, MovesToANameThatIsFree) {
    OutputNamer::replaceItem(results / "result", sources.file("work", "new"));
    EXPECT_EQ(contents(results / "result"), "new");
    EXPECT_EQ(entryCount(results.path()), 1U);
    EXPECT_EQ(entryCount(sources.path()), 0U);
}

TEST_F(ReplaceItemAcrossFileSystems, ReplacesAFileThatIsThere) {
    results.file("result", "old and longer");
    OutputNamer::replaceItem(results / "result", sources.file("work", "new"));
    EXPECT_EQ(contents(results / "result"), "new");
    EXPECT_EQ(entryCount(results.path()), 1U);
    EXPECT_EQ(entryCount(sources.path()), 0U);
}

TEST_F(ReplaceItemAcrossFileSystems, CopiesEveryByteOfALargeFile) {
    std::string bytes(3'000'000, '\0');
    for (std::size_t index = 0; index < bytes.size(); ++index)
        bytes[index] = static_cast<char>(index * index >> 7U);
    OutputNamer::replaceItem(results / "result", sources.file("work", bytes));
    EXPECT_TRUE(contents(results / "result") == bytes);
}

TEST_F(ReplaceItemAcrossFileSystems, MovesAnEmptyFile) {
    OutputNamer::replaceItem(results / "result", sources.file("work", ""));
    EXPECT_EQ(contents(results / "result"), "");
    EXPECT_EQ(entryCount(sources.path()), 0U);
}

TEST_F(ReplaceItemAcrossFileSystems, KeepsThePermissionsOfTheSource) {
    ASSERT_EQ(::chmod(sources.file("work", "new").c_str(), 0640), 0);
    OutputNamer::replaceItem(results / "result", sources / "work");
    EXPECT_EQ(permissionsOf(results / "result"), 0640U);
}

TEST_F(ReplaceItemAcrossFileSystems, ReplacesALinkAndNotWhatItPointsTo) {
    results.file("original", "old");
    std::filesystem::create_symlink("original", results / "result");
    OutputNamer::replaceItem(results / "result", sources.file("work", "new"));
    EXPECT_EQ(contents(results / "result"), "new");
    EXPECT_EQ(contents(results / "original"), "old");
}

TEST_F(ReplaceItemAcrossFileSystems, RefusesAFolderAndKeepsIt) {
    std::filesystem::create_directory(results / "result");
    results.file("result/inside", "kept");
    EXPECT_EQ(failureOf(results / "result", sources.file("work", "new")).code, EISDIR);
    EXPECT_EQ(contents(results / "result/inside"), "kept");
    EXPECT_EQ(contents(sources / "work"), "new");
}

TEST_F(ReplaceItemAcrossFileSystems, RefusesANamedPipeAndKeepsIt) {
    ASSERT_EQ(::mkfifo((results / "result").c_str(), 0600), 0);
    EXPECT_EQ(failureOf(results / "result", sources.file("work", "new")).code, EINVAL);
    EXPECT_TRUE(std::filesystem::is_fifo(results / "result"));
}

TEST_F(ReplaceItemAcrossFileSystems, KeepsTheSourceWhenTheFolderIsMissing) {
    EXPECT_EQ(failureOf(results / "missing/result", sources.file("work", "new")).code, ENOENT);
    EXPECT_EQ(contents(sources / "work"), "new");
}

TEST_F(ReplaceItemAcrossFileSystems, LosesNothingWhenTheDiskIsFull) {
    results.file("result", "old");
    const std::string bytes(100'000, 'n');
    sources.file("work", bytes);

    {
        const Testing::FileSizeLimit spaceLeft(50'000);
        EXPECT_EQ(failureOf(results / "result", sources / "work").code, EFBIG);
    }
    EXPECT_EQ(contents(results / "result"), "old");
    EXPECT_TRUE(contents(sources / "work") == bytes);
    EXPECT_EQ(entryCount(results.path()), 1U) << "an unfinished copy was left behind";
}

} // namespace
} // namespace Bleedwise
