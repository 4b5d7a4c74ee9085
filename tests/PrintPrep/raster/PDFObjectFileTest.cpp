#include "PrintPrep/raster/PDFObjectFile.h"

#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace Bleedwise {
namespace {

using Testing::contents;
using Testing::TemporaryFolder;

TEST(PDFObjectFile, WritesObjectsTableAndTrailer) {
    const TemporaryFolder folder;
    PDFObjectFile file(folder / "a.pdf");
    const int first = file.reserve();
    const int second = file.reserve();
    file.begin(second);
    file.write("[1]");
    file.end();
    file.begin(first);
    file.write("<< /Two 2 0 R >>");
    file.end();
    file.finish(first);
    EXPECT_EQ(contents(folder / "a.pdf"), "%PDF-1.4\n%\xe2\xe3\xcf\xd3\n"
                                          "2 0 obj\n[1]\nendobj\n"
                                          "1 0 obj\n<< /Two 2 0 R >>\nendobj\n"
                                          "xref\n0 3\n0000000000 65535 f \n"
                                          "0000000034 00000 n \n0000000015 00000 n \n"
                                          "trailer\n<< /Size 3 /Root 1 0 R >>\n"
                                          "startxref\n66\n%%EOF\n");
}

TEST(PDFObjectFile, GivesWhatFollowsItsTable) {
    const TemporaryFolder folder;
    PDFObjectFile file(folder / "a.pdf");
    const int object = file.reserve();
    file.begin(object);
    file.end();
    EXPECT_EQ(file.finish(object), "trailer\n<< /Size 2 /Root 1 0 R >>\nstartxref\n31\n%%EOF\n");
}

TEST(PDFObjectFile, KnowsAnObjectsText) {
    EXPECT_EQ(PDFObjectFile::text(7, "[1]"), "7 0 obj\n[1]\nendobj\n");
}

TEST(PDFObjectFile, HasAllThatWasGivenToTheDiskOnTheWay) {
    const TemporaryFolder folder;
    PDFObjectFile file(folder / "a.pdf");
    const int object = file.reserve();
    file.begin(object);
    file.write("[1 ");
    file.store();
    EXPECT_EQ(contents(folder / "a.pdf"), "%PDF-1.4\n%\xe2\xe3\xcf\xd3\n1 0 obj\n[1 ");
    file.write("2]");
    file.end();
    file.finish(object);
    EXPECT_NE(contents(folder / "a.pdf").find("1 0 obj\n[1 2]\nendobj\n"), std::string::npos);
}

TEST(PDFObjectFile, TakesBackWhatHasReachedTheDisk) {
    const TemporaryFolder folder;
    PDFObjectFile file(folder / "a.pdf");
    const int object = file.reserve();
    file.begin(object);
    const auto start = file.size();
    file.write(std::string(1'000'000, 'x'));
    file.truncate(start);
    file.write("[]");
    file.end();
    file.finish(object);
    EXPECT_EQ(contents(folder / "a.pdf").find('x'), contents(folder / "a.pdf").find("xref"));
}

/// Objects behind 4 GiB of nothing: offsets of more than 32 bits.
TEST(PDFObjectFile, CountsPastFourGigabytes) {
    const TemporaryFolder folder;
    PDFObjectFile file(folder / "a.pdf");
    const int first = file.reserve();
    const int second = file.reserve();
    file.begin(first);
    file.end();
    const std::string gap(64U << 20U, ' ');
    std::filesystem::path url = folder / "a.pdf";
    for (int i = 0; i < 65; ++i) {
        file.write(gap);
        // Give the disk the space back: what is written is not looked at.
        std::filesystem::resize_file(url, 0);
    }
    const auto offset = file.size();
    file.begin(second);
    file.end();
    EXPECT_GT(offset, 4LL << 30);
    file.finish(first);
    std::ifstream stream(url, std::ios::binary);
    stream.seekg(-200, std::ios::end);
    const std::string end{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_NE(end.find("\n" + std::to_string(offset) + " 00000 n \n"), std::string::npos) << end;
}

TEST(PDFObjectFile, ReportsAFileThatCannotGrow) {
    const TemporaryFolder folder;
    PDFObjectFile file(folder / "a.pdf");
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small = {1000, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_THROW(file.write(std::string(1'000'000, ' ')), FileSystemError);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, previous);
}

TEST(PDFObjectFile, CannotBeMadeOverAFolder) {
    const TemporaryFolder folder;
    EXPECT_THROW(PDFObjectFile(folder.path()), PrintPrepError);
}

} // namespace
} // namespace Bleedwise
