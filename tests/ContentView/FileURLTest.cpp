#include "ContentView/FileURL.h"

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;

TEST(FileURLPath, IsThePathOfAFileURL) {
    EXPECT_EQ(FileURL::path(QUrl("file:///a/b.pdf")), path("/a/b.pdf"));
    EXPECT_EQ(FileURL::path(QUrl("file://localhost/a/b.pdf")), path("/a/b.pdf"));
    EXPECT_EQ(FileURL::path(QUrl("FILE:///a/b.pdf")), path("/a/b.pdf"));
}

TEST(FileURLPath, DecodesPercentSigns) {
    EXPECT_EQ(FileURL::path(QUrl("file:///a%20b%2520%23%3F.pdf")), path("/a b%20#?.pdf"));
}

TEST(FileURLPath, KeepsBytesThatAreNotUTF8) {
    EXPECT_EQ(FileURL::path(QUrl::fromEncoded("file:///a%FF%C3%A4.pdf")), path("/a\xff\u00e4.pdf"));
}

TEST(FileURLPath, KeepsDotsAsTheyAre) {
    EXPECT_EQ(FileURL::path(QUrl("file:///a/./b/../c.pdf")), path("/a/./b/../c.pdf"));
}

TEST(FileURLPath, IsAbsentForWhatIsNoFileOfThisMachine) {
    for (const char* text : {"", "/a/b.pdf", "b.pdf", "http://host/b.pdf", "file://other/b.pdf",
                             "file:", "file:b.pdf"})
        EXPECT_EQ(FileURL::path(QUrl(text)), std::nullopt) << text;
}

TEST(FileURLPath, IsAbsentForANameThatNoFileCanHave) {
    EXPECT_EQ(FileURL::path(QUrl::fromEncoded("file:///a%00b.pdf")), std::nullopt);
}

TEST(FileURLURL, ComesBackAsTheSamePath) {
    for (const char* name : {"/a/b.pdf", "/a b%20#?&;.pdf", "/\xff\xfe.pdf", "/\u00e4\u4e2d.pdf",
                             "/a/./b/../c.pdf", "/a\nb\"'.pdf", "/-a:b@c.pdf"})
        EXPECT_EQ(FileURL::path(FileURL::url(name)), path(name)) << name;
}

TEST(FileURLDisplayText, ShowsTextAsItIs) {
    EXPECT_EQ(FileURL::displayText("Plakat \u00e4.pdf"), QString("Plakat \u00e4.pdf"));
}

TEST(FileURLDisplayText, ShowsASignForBytesThatAreNoText) {
    EXPECT_EQ(FileURL::displayText("a\xff.pdf"), QString("a\ufffd.pdf"));
}

TEST(FileURLStandardized, IsTheSameForAllSpellings) {
    for (const char* spelling :
         {"/dir/a.pdf", "/dir/./a.pdf", "/dir/b/../a.pdf", "/dir//a.pdf", "/../dir/a.pdf"})
        EXPECT_EQ(FileURL::standardized(spelling).native(), "/dir/a.pdf") << spelling;
}

} // namespace
} // namespace Bleedwise
