#include "BleedwiseApp/updater/InformationDictionary.h"

#include "support/TemporaryFolder.h"

#include <filesystem>
#include <ostream>
#include <string>

#include <QJsonObject>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Bleedwise {
namespace {

using Testing::TemporaryFolder;

constexpr const char* goodFeed = "https://updates.test/appcast.xml";

bool isReady(const std::string& json) {
    const TemporaryFolder folder;
    return InformationDictionary::ofFile(folder.file("Info.json", json))
        .sparkleConfigurationIsReady();
}

bool isReadyWithFeed(const std::string& feed) {
    return InformationDictionary(
               QJsonObject{{"SUFeedURL", QString::fromStdString(feed)}, {"SUPublicEDKey", "key"}})
        .sparkleConfigurationIsReady();
}

bool isReadyWithKey(const QString& key) {
    return InformationDictionary(QJsonObject{{"SUFeedURL", goodFeed}, {"SUPublicEDKey", key}})
        .sparkleConfigurationIsReady();
}

// Which configurations give an updater.

TEST(SparkleConfiguration, IsReadyWithAnHTTPSFeedAndAKey) {
    EXPECT_TRUE(isReady(R"({"SUFeedURL": "https://a.test/feed", "SUPublicEDKey": "abc"})"));
}

TEST(SparkleConfiguration, IsNotReadyWithoutAFeed) {
    EXPECT_FALSE(isReady(R"({"SUPublicEDKey": "abc"})"));
}

TEST(SparkleConfiguration, IsNotReadyWithAFeedThatIsNoText) {
    EXPECT_FALSE(isReady(R"({"SUFeedURL": ["https://a.test/feed"], "SUPublicEDKey": "abc"})"));
}

TEST(SparkleConfiguration, IsNotReadyWithAnEmptyFeed) {
    EXPECT_FALSE(isReadyWithFeed(""));
}

TEST(SparkleConfiguration, IsNotReadyWithAFeedThatIsNoURL) {
    for (const char* feed : {"https://a b.test/", " https://a.test/", "https://a.test:99999/",
                             "https://[::1/feed", "https://a.test/%zz\n"})
        EXPECT_FALSE(isReadyWithFeed(feed)) << feed;
}

TEST(SparkleConfiguration, IsNotReadyWithAFeedWithoutAScheme) {
    for (const char* feed : {"a.test/feed", "/feed", "https"})
        EXPECT_FALSE(isReadyWithFeed(feed)) << feed;
}

TEST(SparkleConfiguration, IsNotReadyWithAFeedWhoseSchemeIsNotHTTPS) {
    for (const char* feed : {"http://a.test/feed", "file:///feed", "ftp://a.test/",
                             "httpss://a.test/", "xhttps://a.test/"})
        EXPECT_FALSE(isReadyWithFeed(feed)) << feed;
}

TEST(SparkleConfiguration, IsNotReadyWithASchemeInCapitals) {
    for (const char* feed : {"HTTPS://a.test/feed", "Https://a.test/feed"})
        EXPECT_FALSE(isReadyWithFeed(feed)) << feed;
}

TEST(SparkleConfiguration, IsNotReadyWithoutAKey) {
    EXPECT_FALSE(isReady(R"({"SUFeedURL": "https://a.test/feed"})"));
}

TEST(SparkleConfiguration, IsNotReadyWithAKeyThatIsNoText) {
    EXPECT_FALSE(isReady(R"({"SUFeedURL": "https://a.test/feed", "SUPublicEDKey": 7})"));
}

TEST(SparkleConfiguration, IsNotReadyWithAKeyOfBlanksAndLineEnds) {
    for (const QString& key :
         {QString(""), QString(" "), QString(" \t\r\n\n"), QString("\u00a0\u2003")})
        EXPECT_FALSE(isReadyWithKey(key));
}

TEST(SparkleConfiguration, DoesNotLookAtTheKeyAnyCloser) {
    for (const QString& key : {QString(" x "), QString("no base64!")})
        EXPECT_TRUE(isReadyWithKey(key));
}

// The file.

TEST(InformationDictionary, IsEmptyWithoutAFile) {
    const TemporaryFolder folder;
    EXPECT_EQ(InformationDictionary::ofFile(folder / "Info.json").text("SUFeedURL"), std::nullopt);
}

TEST(InformationDictionary, IsEmptyForAFileThatHoldsNoObject) {
    for (const char* json : {"", "{", "[]", "\"SUFeedURL\"", "{\"SUFeedURL\": \"a\"} x"}) {
        const TemporaryFolder folder;
        const auto dictionary = InformationDictionary::ofFile(folder.file("Info.json", json));
        EXPECT_EQ(dictionary.text("SUFeedURL"), std::nullopt) << json;
    }
}

TEST(InformationDictionary, IsEmptyForAFileThatIsTooLarge) {
    EXPECT_FALSE(isReady(R"({"SUFeedURL": "https://a.test/feed", "SUPublicEDKey": "abc", "x": ")" +
                         std::string(2 << 20, 'x') + "\"}"));
}

TEST(InformationDictionary, DoesNotWaitForAPipe) {
    const TemporaryFolder folder;
    const std::filesystem::path pipe = folder / "Info.json";
    ASSERT_EQ(::mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_FALSE(InformationDictionary::ofFile(pipe).sparkleConfigurationIsReady());
}

TEST(InformationDictionary, GivesATextAsItIsWritten) {
    const InformationDictionary dictionary(QJsonObject{{"key", " a\n"}});
    EXPECT_EQ(dictionary.text("key"), " a\n");
}

} // namespace
} // namespace Bleedwise
