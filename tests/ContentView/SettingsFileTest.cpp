#include "ContentView/SettingsFile.h"

#include "support/OrdinaryUser.h"
#include "support/ResourceLimit.h"
#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using std::filesystem::perms;
using Testing::contents;
using Testing::entryCount;
using Testing::ScopedVariable;
using Testing::TemporaryFolder;

/// Runs `work` in a process of its own; gives how that ended, as `waitpid` does.
template <typename Work>
int inAnotherProcess(const Work& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

class SettingsFileTest : public testing::Test {
protected:
    path conf() const { return folder / "test.conf"; }
    void write(std::string_view text) const { folder.file("test.conf", text); }
    static SettingsFile settings() { return SettingsFile("test"); }
    static std::optional<std::string> value(std::string_view key) { return settings().value(key); }

    const TemporaryFolder folder;
    const ScopedVariable configuration = ScopedVariable("XDG_CONFIG_HOME", folder.path().native());
};

// Where the file is.

TEST_F(SettingsFileTest, LiesUnderTheDomainsNameInTheConfigurationFolder) {
    settings().set({{"width", "105"}});
    EXPECT_TRUE(std::filesystem::is_regular_file(conf()));
}

TEST_F(SettingsFileTest, LiesInTheHomeFoldersConfigurationWithoutTheVariable) {
    const ScopedVariable unset("XDG_CONFIG_HOME", std::nullopt);
    const ScopedVariable home("HOME", folder.path().native());
    settings().set({{"width", "105"}});
    EXPECT_TRUE(std::filesystem::is_regular_file(folder / ".config/test.conf"));
}

TEST_F(SettingsFileTest, IgnoresAConfigurationFolderThatIsNotAbsolute) {
    const ScopedVariable relative("XDG_CONFIG_HOME", "configuration");
    const ScopedVariable home("HOME", folder.path().native());
    settings().set({{"width", "105"}});
    EXPECT_TRUE(std::filesystem::is_regular_file(folder / ".config/test.conf"));
}

TEST_F(SettingsFileTest, CreatesTheFoldersThatAreMissing) {
    const ScopedVariable deeper("XDG_CONFIG_HOME", (folder / "a/b/c").native());
    settings().set({{"width", "105"}});
    EXPECT_EQ(value("width"), "105");
}

TEST_F(SettingsFileTest, LooksIntoAFolderWhoseNameIsNoText) {
    const ScopedVariable odd("XDG_CONFIG_HOME", (folder / "\xff\xfe").native());
    settings().set({{"width", "105"}});
    EXPECT_TRUE(std::filesystem::is_regular_file(folder / "\xff\xfe" / "test.conf"));
}

// What is read.

TEST_F(SettingsFileTest, HasNothingWithoutAFile) {
    EXPECT_EQ(value("width"), std::nullopt);
}

TEST_F(SettingsFileTest, DoesNotCreateAFileByReading) {
    static_cast<void>(value("width"));
    EXPECT_EQ(entryCount(folder.path()), 0U);
}

struct ReadCase {
    std::string name;
    std::string text;
    std::optional<std::string> width;
};
std::ostream& operator<<(std::ostream& stream, const ReadCase& example) {
    return stream << example.name;
}

class SettingsFileText : public SettingsFileTest, public testing::WithParamInterface<ReadCase> {};

TEST_P(SettingsFileText, IsReadLineByLine) {
    write(GetParam().text);
    EXPECT_EQ(value("width"), GetParam().width);
}

INSTANTIATE_TEST_SUITE_P(
    All, SettingsFileText,
    testing::Values(ReadCase{"UnderGeneral", "[General]\nwidth=105\n", "105"},
                    ReadCase{"AboveTheFirstSection", "width=105\n[Other]\n", "105"},
                    ReadCase{"UnderGeneralInSmallLetters", "[general]\nwidth=105\n", "105"},
                    ReadCase{"BlanksAround", "[ General ]\n\twidth = 105 \n", "105"},
                    ReadCase{"WithoutALastLineBreak", "[General]\nwidth=105", "105"},
                    ReadCase{"WindowsLines", "[General]\r\nwidth=105\r\n", "105"},
                    ReadCase{"ByteOrderMark", "\xef\xbb\xbf[General]\nwidth=105\n", "105"},
                    ReadCase{"AsItIsWritten", "[General]\nwidth=\"3,0\" ; mm\n", "\"3,0\" ; mm"},
                    ReadCase{"LastOfSeveral", "[General]\nwidth=1\nwidth=2\n", "2"},
                    ReadCase{"GeneralTwice", "[General]\na=1\n[B]\n[General]\nwidth=2\n", "2"},
                    ReadCase{"BehindAnUnpairedQuote", "[General]\na=\"1\nwidth=2\n", "2"},
                    ReadCase{"UnderAnotherSection", "[Other]\nwidth=105\n", std::nullopt},
                    ReadCase{"InAComment", "[General]\n;width=105\n", std::nullopt},
                    ReadCase{"InOtherLetters", "[General]\nWidth=105\n", std::nullopt},
                    ReadCase{"WithoutEquals", "[General]\nwidth\n", std::nullopt},
                    ReadCase{"WithoutAKey", "[General]\n=105\n", std::nullopt},
                    ReadCase{"CutOffHeading", "[Gen", std::nullopt},
                    ReadCase{"Empty", "", std::nullopt}),
    [](const auto& example) { return example.param.name; });

// What is written.

struct WriteCase {
    std::string name;
    std::string before;
    std::string after;
};
std::ostream& operator<<(std::ostream& stream, const WriteCase& example) {
    return stream << example.name;
}

class SettingsFileChange : public SettingsFileTest,
                           public testing::WithParamInterface<WriteCase> {};

TEST_P(SettingsFileChange, TouchesOneLine) {
    write(GetParam().before);
    settings().set({{"width", "9"}});
    EXPECT_EQ(contents(conf()), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    All, SettingsFileChange,
    testing::Values(
        WriteCase{"InAnEmptyFile", "", "[General]\nwidth=9\n"},
        WriteCase{"OfAKnownKey", "[General]\na=1\nwidth=5\nb=2\n",
                  "[General]\na=1\nwidth=9\nb=2\n"},
        WriteCase{"OfANewKey", "[General]\na=1\n", "[General]\na=1\nwidth=9\n"},
        WriteCase{"BehindALineWithoutAnEnd", "[General]\na=1", "[General]\na=1\nwidth=9\n"},
        WriteCase{"InAnEmptySection", "[General]\n[Other]\n", "[General]\nwidth=9\n[Other]\n"},
        WriteCase{"BeforeTheNextSection", "[General]\na=1\n\n[Other]\nwidth=5\n",
                  "[General]\na=1\nwidth=9\n\n[Other]\nwidth=5\n"},
        WriteCase{"AboveOtherSections", "[Other]\nwidth=5\n",
                  "[General]\nwidth=9\n\n[Other]\nwidth=5\n"},
        WriteCase{"WithoutAnySection", "a=1\n", "a=1\nwidth=9\n"},
        WriteCase{"BesideNotes", "; mine\n[General]\n# note\na = 1 ; why\nnonsense\n",
                  "; mine\n[General]\n# note\na = 1 ; why\nwidth=9\nnonsense\n"},
        WriteCase{"OfTheLastOfSeveral", "[General]\nwidth=1\nwidth=2\n",
                  "[General]\nwidth=1\nwidth=9\n"},
        WriteCase{"BehindAByteOrderMark", "\xef\xbb\xbf[Other]\n",
                  "\xef\xbb\xbf[General]\nwidth=9\n\n[Other]\n"},
        WriteCase{"BesideAnUnpairedQuote", "[General]\na=\"1\nb=2\n",
                  "[General]\na=\"1\nb=2\nwidth=9\n"}),
    [](const auto& example) { return example.param.name; });

TEST_F(SettingsFileTest, HasTheNewValueAtOnce) {
    SettingsFile file = settings();
    file.set({{"width", "210"}});
    EXPECT_EQ(file.value("width"), "210");
}

TEST_F(SettingsFileTest, WritesSeveralValuesAtOnce) {
    settings().set({{"height", "2"}, {"width", "1"}});
    EXPECT_EQ(contents(conf()), "[General]\nheight=2\nwidth=1\n");
}

TEST_F(SettingsFileTest, AddsOnlyWhatIsMissing) {
    write("[General]\nwidth=210\n");
    settings().set({}, {{"height", "2"}, {"width", "1"}});
    EXPECT_EQ(contents(conf()), "[General]\nwidth=210\nheight=2\n");
}

TEST_F(SettingsFileTest, DoesNotAddWhatAnotherInstanceHasMeanwhileSet) {
    SettingsFile file = settings();
    settings().set({{"width", "210"}});
    file.set({}, {{"width", "1"}});
    EXPECT_EQ(value("width"), "210");
}

TEST_F(SettingsFileTest, KeepsTheValuesOfAnotherInstance) {
    SettingsFile first = settings();
    SettingsFile second = settings();
    first.set({{"width", "1"}});
    second.set({{"height", "2"}});
    first.set({{"bleed", "3"}});
    EXPECT_EQ(contents(conf()), "[General]\nwidth=1\nheight=2\nbleed=3\n");
}

TEST_F(SettingsFileTest, ReturnsToAFileThatWasRemoved) {
    SettingsFile file = settings();
    file.set({{"width", "1"}});
    std::filesystem::remove(conf());
    file.set({{"height", "2"}});
    EXPECT_EQ(contents(conf()), "[General]\nheight=2\n");
}

TEST_F(SettingsFileTest, LosesNothingWhenTheProcessIsKilled) {
    const int status = inAnotherProcess([] {
        settings().set({{"width", "148"}});
        std::raise(SIGKILL);
    });
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(value("width"), "148");
}

TEST_F(SettingsFileTest, LosesNothingWhenInstancesWriteTogether) {
    constexpr int rounds = 200;
    const auto writer = [](const std::string& key) {
        SettingsFile file = settings();
        for (int round = 0; round < rounds; ++round)
            file.set({{key + std::to_string(round), "1"}});
    };
    inAnotherProcess([&] {
        const pid_t child = ::fork();
        writer(child == 0 ? "a" : "b");
        ::waitpid(child, nullptr, 0);
    });
    SettingsFile file = settings();
    int found = 0;
    for (int round = 0; round < rounds; ++round)
        found += file.value("a" + std::to_string(round)) && file.value("b" + std::to_string(round));
    EXPECT_EQ(found, rounds);
}

TEST_F(SettingsFileTest, LeavesNothingElseInTheFolder) {
    settings().set({{"width", "1"}});
    settings().set({{"width", "2"}});
    EXPECT_EQ(entryCount(folder.path()), 1U);
}

TEST_F(SettingsFileTest, KeepsThePermissions) {
    write("");
    std::filesystem::permissions(conf(),
                                 perms::owner_read | perms::owner_write | perms::group_read);
    settings().set({{"width", "1"}});
    EXPECT_EQ(std::filesystem::status(conf()).permissions(),
              perms::owner_read | perms::owner_write | perms::group_read);
}

TEST_F(SettingsFileTest, IsForTheUserAloneWhenNew) {
    settings().set({{"width", "1"}});
    EXPECT_EQ(std::filesystem::status(conf()).permissions(),
              perms::owner_read | perms::owner_write);
}

TEST_F(SettingsFileTest, LeavesALinkInPlace) {
    const TemporaryFolder elsewhere;
    elsewhere.file("mine", "[General]\n");
    std::filesystem::create_symlink(elsewhere / "mine", conf());
    settings().set({{"width", "1"}});
    EXPECT_TRUE(std::filesystem::is_symlink(conf()));
    EXPECT_EQ(contents(elsewhere / "mine"), "[General]\nwidth=1\n");
}

// What cannot be read or written.

/// That the object goes on with defaults, and keeps a value for its own length.
void expectValuesInMemoryOnly() {
    SettingsFile file("test");
    EXPECT_EQ(file.value("width"), std::nullopt);
    file.set({{"width", "1"}});
    EXPECT_EQ(file.value("width"), "1");
    EXPECT_EQ(SettingsFile("test").value("width"), std::nullopt);
}

TEST_F(SettingsFileTest, WorksWithAFolderInTheFilesPlace) {
    std::filesystem::create_directory(conf());
    expectValuesInMemoryOnly();
}

TEST_F(SettingsFileTest, WorksWithAPipeInTheFilesPlace) {
    ASSERT_EQ(::mkfifo(conf().c_str(), 0600), 0);
    expectValuesInMemoryOnly();
}

TEST_F(SettingsFileTest, WorksWithALinkToItself) {
    std::filesystem::create_symlink(conf(), conf());
    expectValuesInMemoryOnly();
}

TEST_F(SettingsFileTest, WorksWithAFileInTheFoldersPlace) {
    const ScopedVariable file("XDG_CONFIG_HOME", folder.file("file", "").native());
    expectValuesInMemoryOnly();
}

TEST_F(SettingsFileTest, WorksWithoutAHome) {
    const ScopedVariable unset("XDG_CONFIG_HOME", std::nullopt);
    const ScopedVariable home("HOME", (folder.file("file", "") / "home").native());
    expectValuesInMemoryOnly();
}

TEST_F(SettingsFileTest, LeavesAHugeFileAlone) {
    write("[General]\nwidth=1\n");
    std::filesystem::resize_file(conf(), 1ULL << 40U);
    expectValuesInMemoryOnly();
    EXPECT_EQ(std::filesystem::file_size(conf()), 1ULL << 40U);
}

TEST_F(SettingsFileTest, DoesNotGrowBeyondWhatItReads) {
    write("[General]\nwidth=1\n");
    settings().set({{"note", std::string(1 << 20, 'a')}});
    EXPECT_EQ(contents(conf()), "[General]\nwidth=1\n");
}

TEST_F(SettingsFileTest, LeavesAnUnreadableFileAlone) {
    write("[General]\nwidth=5\n");
    std::filesystem::permissions(conf(), perms::none);
    std::filesystem::permissions(folder.path(), perms::all);
    {
        const Testing::OrdinaryUser user;
        expectValuesInMemoryOnly();
    }
    std::filesystem::permissions(conf(), perms::owner_read);
    EXPECT_EQ(contents(conf()), "[General]\nwidth=5\n");
}

TEST_F(SettingsFileTest, LeavesAReadOnlyFileAlone) {
    write("[General]\nwidth=5\n");
    std::filesystem::permissions(conf(),
                                 perms::owner_read | perms::group_read | perms::others_read);
    std::filesystem::permissions(folder.path(), perms::all);
    const Testing::OrdinaryUser user;
    settings().set({{"width", "6"}});
    EXPECT_EQ(contents(conf()), "[General]\nwidth=5\n");
}

TEST_F(SettingsFileTest, KeepsTheOldFileOnAFullDisk) {
    write("[General]\nwidth=5\n");
    {
        const Testing::FileSizeLimit limit(4);
        settings().set({{"width", "6"}});
    }
    EXPECT_EQ(contents(conf()), "[General]\nwidth=5\n");
    EXPECT_EQ(entryCount(folder.path()), 1U);
}

TEST_F(SettingsFileTest, TriesAgainWithTheNextValue) {
    std::filesystem::create_directory(conf());
    SettingsFile file = settings();
    file.set({{"width", "1"}});
    std::filesystem::remove(conf());
    file.set({{"height", "2"}});
    EXPECT_EQ(contents(conf()), "[General]\nheight=2\nwidth=1\n");
}

TEST_F(SettingsFileTest, DoesNotWaitForAnInstanceThatHangs) {
    write("");
    const int held = ::open(conf().c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    SettingsFile file = settings();
    file.set({{"width", "1"}});
    EXPECT_EQ(file.value("width"), "1");
    ::close(held);
}

TEST_F(SettingsFileTest, KeepsEveryLineOfADamagedFile) {
    EXPECT_TRUE(rc::check([this](std::string bytes) {
        std::erase(bytes, '=');
        write(bytes);
        settings().set({{"width", "1"}});
        RC_ASSERT(value("width") == std::optional<std::string>("1"));
        std::string after = contents(conf());
        for (const std::string added : {"width=1\n", "[General]\n"}) {
            if (const std::size_t place = after.find(added); place != std::string::npos)
                after.erase(place, added.size());
        }
        RC_ASSERT(after.find(bytes) != std::string::npos);
    }));
}

} // namespace
} // namespace Bleedwise
