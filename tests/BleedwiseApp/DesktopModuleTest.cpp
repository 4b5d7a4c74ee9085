#include "BleedwiseApp/DesktopModule.h"

#include "support/Command.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using Testing::CommandResult;
using Testing::TemporaryFolder;

constexpr const char* moduleName = "bleedwise-desktop.so";

/// The executable alone, in a folder of its own.
class CopiedProgram : public testing::Test {
protected:
    CopiedProgram() {
        std::filesystem::create_directory(folder / "bin");
        std::filesystem::copy_file(BLEEDWISE_EXECUTABLE, program);
    }

    CommandResult open() const {
        return Testing::run({program.native()},
                            {.environment = {{"QT_QPA_PLATFORM", "none"}}, .folder = {}});
    }

    /// That the window's part got as far as to look for a display, which is not there.
    static void expectLoaded(const CommandResult& result) {
        EXPECT_NE(result.error.find("platform plugin \"none\""), std::string::npos) << result.error;
    }

    const path built = path(BLEEDWISE_EXECUTABLE).parent_path() / moduleName;
    const TemporaryFolder folder;
    const path program = folder / "bin/bleedwise";
};

TEST_F(CopiedProgram, LoadsTheWindowsPartFromItsOwnFolder) {
    std::filesystem::copy_file(built, folder / "bin" / moduleName);
    expectLoaded(open());
}

TEST_F(CopiedProgram, LoadsTheWindowsPartFromTheLibraryFolderBesideItsOwn) {
    std::filesystem::create_directories(folder / "lib/bleedwise");
    std::filesystem::copy_file(built, folder / "lib/bleedwise" / moduleName);
    expectLoaded(open());
}

TEST_F(CopiedProgram, SaysThatTheWindowsPartIsMissing) {
    const CommandResult result = open();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error, "ERROR: The window cannot be opened: there is no bleedwise-desktop.so "
                            "in " +
                                (folder / "bin").native() + "\n");
}

TEST_F(CopiedProgram, SaysThatTheWindowsPartCannotBeLoaded) {
    const path damaged = folder.file(path("bin") / moduleName, "no library");
    const CommandResult result = open();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error,
              "ERROR: The window cannot be opened: " + damaged.native() + ": file too short\n");
}

TEST_F(CopiedProgram, ConvertsWithoutTheWindowsPart) {
    const path input = folder.file("a.pdf", Testing::smallPDF());
    const CommandResult result =
        Testing::run({program.native(), "--convert", input.native(), "--width", "20", "--height",
                      "20", "--no-ghostscript", "--output", (folder / "b.pdf").native()});
    EXPECT_EQ(result.status, 0) << result.error;
}

} // namespace
} // namespace Bleedwise
