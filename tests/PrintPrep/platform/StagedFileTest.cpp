#include "PrintPrep/platform/StagedFile.h"

#include "PrintPrep/platform/FileSystemError.h"
#include "support/OrdinaryUser.h"
#include "support/ResourceLimit.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using std::filesystem::perms;
using Testing::contents;
using Testing::entryCount;
using Testing::TemporaryFolder;

/// The name under which the only entry beside `file` goes.
std::string nameBeside(const path& file) {
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path())) {
        if (entry.path() != file)
            return entry.path().filename().native();
    }
    return "";
}

/// The code of the error that `work` throws, which must name `destination`.
int codeOf(const path& destination, const std::function<void()>& work) {
    try {
        work();
        ADD_FAILURE() << "no error";
        return 0;
    } catch (const FileSystemError& error) {
        EXPECT_NE(error.errorDescription().find('"' + destination.native() + '"'),
                  std::string::npos)
            << error.errorDescription();
        return error.code();
    }
}

void writeFile(const path& destination, std::string_view bytes, Durability durability,
               unsigned permissions = 0600) {
    StagedFile file(destination, permissions);
    file.append(bytes);
    file.commit(durability);
}

class StagedFiles : public testing::TestWithParam<Durability> {
protected:
    TemporaryFolder folder_;
};

std::string durabilityName(const testing::TestParamInfo<Durability>& info) {
    switch (info.param) {
    case Durability::processFailure:
        return "ProcessFailure";
    case Durability::deferred:
        return "Deferred";
    case Durability::powerFailure:
        return "PowerFailure";
    }
    return "";
}

INSTANTIATE_TEST_SUITE_P(Each, StagedFiles,
                         testing::Values(Durability::processFailure, Durability::deferred,
                                         Durability::powerFailure),
                         durabilityName);

TEST_P(StagedFiles, TakeAFreeName) {
    writeFile(folder_ / "file", "new", GetParam());
    EXPECT_EQ(contents(folder_ / "file"), "new");
}

TEST_P(StagedFiles, ReplaceAFile) {
    const path url = folder_.file("file", "a longer old file");
    writeFile(url, "new", GetParam());
    EXPECT_EQ(contents(url), "new");
}

TEST_P(StagedFiles, LeaveNothingBesideTheFinishedFile) {
    const path url = folder_.file("file", "old");
    writeFile(url, "new", GetParam());
    EXPECT_EQ(entryCount(folder_.path()), 1);
}

TEST_P(StagedFiles, MayBeEmpty) {
    const path url = folder_.file("file", "old");
    writeFile(url, "", GetParam());
    EXPECT_EQ(contents(url), "");
}

TEST_P(StagedFiles, LeaveTheOldBytesToWhoeverHasTheFileOpen) {
    const path url = folder_.file("file", "old");
    std::filesystem::create_hard_link(url, folder_ / "other name");
    writeFile(url, "new", GetParam());
    EXPECT_EQ(contents(folder_ / "other name"), "old");
}

TEST_P(StagedFiles, DoNotReplaceAFolder) {
    const path url = folder_ / "folder";
    std::filesystem::create_directory(url);
    folder_.file("folder/inside", "kept");
    EXPECT_EQ(codeOf(url, [&] { writeFile(url, "new", GetParam()); }), EISDIR);
    EXPECT_EQ(contents(url / "inside"), "kept");
    EXPECT_EQ(entryCount(folder_.path()), 1);
}

TEST_P(StagedFiles, ReportAFullDiskAndKeepTheOldBytes) {
    const path url = folder_.file("file", "old");
    {
        const Testing::FileSizeLimit limit(100'000);
        EXPECT_EQ(codeOf(url, [&] { writeFile(url, std::string(100'001, 'x'), GetParam()); }),
                  EFBIG);
    }
    EXPECT_EQ(contents(url), "old");
    EXPECT_EQ(entryCount(folder_.path()), 1);
}

TEST_P(StagedFiles, ReportAFullDiskAlsoForGatheredPieces) {
    const path url = folder_.file("file", "old");
    {
        const Testing::FileSizeLimit limit(1);
        EXPECT_EQ(codeOf(url, [&] { writeFile(url, "new", GetParam()); }), EFBIG);
    }
    EXPECT_EQ(contents(url), "old");
    EXPECT_EQ(entryCount(folder_.path()), 1);
}

TEST(StagedFile, KeepsTheOldBytesInPlaceUntilTheCommit) {
    const TemporaryFolder folder;
    const path url = folder.file("file", "old");
    StagedFile file(url, 0600);
    file.append(std::string(200'000, 'x'));
    EXPECT_EQ(contents(url), "old");
}

TEST(StagedFile, IsWrittenBesideItsDestination) {
    const TemporaryFolder folder;
    const StagedFile file(folder / "file", 0600);
    const std::string name = nameBeside(folder / "file");
    EXPECT_TRUE(name.starts_with(".bleedwise-")) << name;
    EXPECT_TRUE(name.ends_with(".part")) << name;
}

TEST(StagedFile, RemovesItsFileWithoutACommit) {
    const TemporaryFolder folder;
    {
        StagedFile file(folder / "file", 0600);
        file.append(std::string(200'000, 'x'));
    }
    EXPECT_EQ(entryCount(folder.path()), 0);
}

TEST(StagedFile, RemovesItsFileWhenAnExceptionPasses) {
    const TemporaryFolder folder;
    const path url = folder.file("file", "old");
    try {
        StagedFile file(url, 0600);
        file.append("new");
        throw std::runtime_error("interrupted");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(contents(url), "old");
    }
    EXPECT_EQ(entryCount(folder.path()), 1);
}

TEST(StagedFile, MayBeWrittenTwiceAtATime) {
    const TemporaryFolder folder;
    StagedFile first(folder / "file", 0600);
    StagedFile second(folder / "file", 0600);
    first.append("first");
    second.append("second");
    first.commit(Durability::processFailure);
    EXPECT_EQ(contents(folder / "file"), "first");
    second.commit(Durability::processFailure);
    EXPECT_EQ(contents(folder / "file"), "second");
}

struct PiecesCase {
    const char* name;
    std::vector<std::size_t> sizes;
};

[[maybe_unused]] void PrintTo(const PiecesCase& pieces, std::ostream* stream) {
    *stream << pieces.name;
}

std::string piecesName(const testing::TestParamInfo<PiecesCase>& info) {
    return info.param.name;
}

class Pieces : public testing::TestWithParam<PiecesCase> {};

TEST_P(Pieces, KeepTheirOrder) {
    const TemporaryFolder folder;
    std::string expected;
    StagedFile file(folder / "file", 0600);
    char letter = 'a';
    for (const std::size_t size : GetParam().sizes) {
        const std::string piece(size, letter++);
        expected += piece;
        file.append(piece);
    }
    file.commit(Durability::processFailure);
    EXPECT_TRUE(contents(folder / "file") == expected);
}

constexpr std::size_t gathered = 64U << 10U;
constexpr std::size_t oneWrite = 64U << 20U;

INSTANTIATE_TEST_SUITE_P(Each, Pieces,
                         testing::ValuesIn<PiecesCase>({
                             {"None", {}},
                             {"Empty", {0, 1, 0}},
                             {"OneMoreThanFits", {gathered - 1, 1, 1}},
                             {"AsMuchAsFitsFirst", {gathered, 1}},
                             {"AsMuchAsFitsLater", {1, gathered, 1}},
                             {"TooLargeToGather", {1, gathered + 1, 1}},
                             {"TwoTooLargeToGather", {gathered + 1, gathered + 1, 5, 6}},
                             {"Many", std::vector<std::size_t>(20, 10'000)},
                             {"TooLargeForOneWrite", {3, oneWrite + 1, 3}},
                         }),
                         piecesName);

class StagedPermissions : public testing::TestWithParam<unsigned> {};

TEST_P(StagedPermissions, AreThoseThatWereAskedFor) {
    const TemporaryFolder folder;
    const mode_t previous = ::umask(0027);
    writeFile(folder / "file", "new", Durability::processFailure, GetParam());
    ::umask(previous);
    EXPECT_EQ(std::filesystem::status(folder / "file").permissions(), perms(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Each, StagedPermissions,
                         testing::Values(0400U, 0444U, 0600U, 0644U, 0666U, 0777U));

TEST(StagedFile, ReportsAMissingFolder) {
    const TemporaryFolder folder;
    const path url = folder / "none" / "file";
    EXPECT_EQ(codeOf(url, [&] { const StagedFile file(url, 0600); }), ENOENT);
}

TEST(StagedFile, ReportsAFileInThePlaceOfTheFolder) {
    const TemporaryFolder folder;
    const path url = folder.file("file", "") / "file";
    EXPECT_EQ(codeOf(url, [&] { const StagedFile file(url, 0600); }), ENOTDIR);
}

TEST(StagedFile, ReportsAFolderThatMayNotBeWritten) {
    const TemporaryFolder folder;
    std::filesystem::permissions(folder.path(), perms(0555));
    {
        const Testing::OrdinaryUser user;
        EXPECT_EQ(codeOf(folder / "file", [&] { const StagedFile file(folder / "file", 0600); }),
                  EACCES);
    }
    std::filesystem::permissions(folder.path(), perms(0700));
}

TEST(StagedFile, ReportsANameThatIsTooLong) {
    const TemporaryFolder folder;
    const path url = folder / std::string(256, 'n');
    EXPECT_EQ(codeOf(url, [&] { writeFile(url, "new", Durability::processFailure); }),
              ENAMETOOLONG);
    EXPECT_EQ(entryCount(folder.path()), 0);
}

TEST(StagedFile, TakesTheLongestName) {
    const TemporaryFolder folder;
    const path url = folder / std::string(255, 'n');
    writeFile(url, "new", Durability::processFailure);
    EXPECT_EQ(contents(url), "new");
}

TEST(FlushToDisk, AcceptsAFile) {
    const TemporaryFolder folder;
    EXPECT_EQ(flushToDisk(folder.file("file", "bytes")), 0);
}

TEST(FlushToDisk, AcceptsAFileThatMayNotBeWritten) {
    const TemporaryFolder folder;
    std::filesystem::permissions(folder.path(), perms(0755));
    const path url = folder.file("file", "bytes");
    std::filesystem::permissions(url, perms(0444));
    const Testing::OrdinaryUser user;
    EXPECT_EQ(flushToDisk(url), 0);
}

TEST(FlushToDisk, GivesTheReasonForAMissingFile) {
    const TemporaryFolder folder;
    EXPECT_EQ(flushToDisk(folder / "none"), ENOENT);
}

TEST(FlushToDisk, DoesNotWaitForTheOtherEndOfANamedPipe) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(flushToDisk(folder / "pipe"), EINVAL);
}

} // namespace
} // namespace Bleedwise
