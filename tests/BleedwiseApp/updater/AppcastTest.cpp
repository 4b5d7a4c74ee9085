#include "BleedwiseApp/updater/Appcast.h"

#include "BleedwiseApp/updater/UpdateError.h"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

const QUrl feedURL("https://a.test/updates/feed.xml");

QByteArray feed(const std::string& items) {
    return QByteArray::fromStdString(
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<rss version=\"2.0\" "
        "xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">\n"
        "<channel><title>Changes</title><link>https://a.test/</link>\n" +
        items + "</channel></rss>\n");
}

std::vector<AppcastItem> parse(const std::string& items) {
    return Appcast::parse(feed(items), feedURL);
}

/// An item with these parts and a package.
std::string item(const std::string& parts, const std::string& packageAttributes = "") {
    return "<item>" + parts + "<enclosure url=\"https://a.test/a.deb\" sparkle:os=\"linux\" " +
           packageAttributes + "/></item>";
}

AppcastItem only(const std::string& items) {
    const std::vector<AppcastItem> all = parse(items);
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? AppcastItem() : all.front();
}

std::string failure(const QByteArray& data) {
    try {
        Appcast::parse(data, feedURL);
    } catch (const UpdateError& error) {
        return error.errorDescription();
    }
    return "none";
}

// What is read.

TEST(Appcast, ReadsTheElementsOfAnItem) {
    const AppcastItem read =
        only(item("<sparkle:version> 42 </sparkle:version>"
                  "<sparkle:shortVersionString>1.4</sparkle:shortVersionString>"
                  "<sparkle:minimumSystemVersion>6.1</sparkle:minimumSystemVersion>"
                  "<sparkle:maximumSystemVersion>7</sparkle:maximumSystemVersion>"
                  "<sparkle:channel>beta</sparkle:channel>"
                  "<description><![CDATA[<p>New</p>]]></description>"
                  "<sparkle:releaseNotesLink>notes.html</sparkle:releaseNotesLink>"));
    EXPECT_EQ(read.version, "42");
    EXPECT_EQ(read.shortVersion, "1.4");
    EXPECT_EQ(read.minimumSystemVersion, "6.1");
    EXPECT_EQ(read.maximumSystemVersion, "7");
    EXPECT_EQ(read.channel, "beta");
    EXPECT_EQ(read.description, "<p>New</p>");
    EXPECT_EQ(read.releaseNotesURL, QUrl("https://a.test/updates/notes.html"));
}

TEST(Appcast, ReadsTheAttributesOfAPackage) {
    const AppcastItem read =
        only("<item><enclosure url=\"b.deb\" length=\" 1234 \" type=\"x\" sparkle:os=\"linux\" "
             "sparkle:version=\"42\" sparkle:shortVersionString=\"1.4\" "
             "sparkle:edSignature=\"abc=\"/></item>");
    EXPECT_EQ(read.url, QUrl("https://a.test/updates/b.deb"));
    EXPECT_EQ(read.length, 1234);
    EXPECT_EQ(read.os, "linux");
    EXPECT_EQ(read.version, "42");
    EXPECT_EQ(read.shortVersion, "1.4");
    EXPECT_EQ(read.edSignature, "abc=");
}

TEST(Appcast, TakesTheVersionOfTheItemBeforeThatOfItsPackage) {
    EXPECT_EQ(only(item("<sparkle:version>2</sparkle:version>", "sparkle:version=\"1\"")).version,
              "2");
}

TEST(Appcast, CallsAVersionByItsShortName) {
    const std::string version = "<sparkle:version>42</sparkle:version>";
    EXPECT_EQ(only(item(version)).displayVersion(), "42");
    EXPECT_EQ(only(item(version, "sparkle:shortVersionString=\"1.4\"")).displayVersion(), "1.4");
}

TEST(Appcast, GivesEachPackageOfAnItem) {
    const auto items = parse("<item><sparkle:version>2</sparkle:version>"
                             "<enclosure url=\"a.dmg\"/><enclosure url=\"a.deb\" "
                             "sparkle:os=\"linux\"/></item>");
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].os, "");
    EXPECT_EQ(items[1].os, "linux");
}

TEST(Appcast, LeavesOutDifferencesBetweenVersions) {
    EXPECT_EQ(parse("<item><sparkle:version>2</sparkle:version><sparkle:deltas><enclosure "
                    "url=\"d\"/></sparkle:deltas></item>")
                  .size(),
              0U);
}

TEST(Appcast, LeavesOutItemsWithoutAVersion) {
    EXPECT_EQ(parse(item("")).size(), 0U);
}

TEST(Appcast, LeavesOutItemsWithoutAPackage) {
    EXPECT_EQ(parse("<item><sparkle:version>2</sparkle:version><link>x</link></item>").size(), 0U);
}

TEST(Appcast, LeavesOutPackagesWhoseAddressIsNone) {
    EXPECT_EQ(parse("<item><sparkle:version>2</sparkle:version><enclosure url=\"https://a b/\"/>"
                    "</item>")
                  .size(),
              0U);
}

TEST(Appcast, TakesALengthThatIsNoneForUnknown) {
    for (const char* length : {"", "-1", "1.5", "x", "0", "99999999999999999999"})
        EXPECT_EQ(only(item("<sparkle:version>2</sparkle:version>",
                            "length=\"" + std::string(length) + "\""))
                      .length,
                  0)
            << length;
}

TEST(Appcast, KnowsNotesInPlainText) {
    for (const char* format : {"plain-text", "markdown"})
        EXPECT_TRUE(only(item("<sparkle:version>2</sparkle:version><description sparkle:format=\"" +
                              std::string(format) + "\">x</description>"))
                        .descriptionIsPlain)
            << format;
    EXPECT_FALSE(only(item("<sparkle:version>2</sparkle:version><description>x</description>"))
                     .descriptionIsPlain);
}

TEST(Appcast, PrefersNotesInEnglish) {
    EXPECT_EQ(only(item("<sparkle:version>2</sparkle:version>"
                        "<sparkle:releaseNotesLink xml:lang=\"de\">/de</sparkle:releaseNotesLink>"
                        "<sparkle:releaseNotesLink xml:lang=\"en\">/en</sparkle:releaseNotesLink>"
                        "<sparkle:releaseNotesLink xml:lang=\"fr\">/fr</sparkle:releaseNotesLink>"))
                  .releaseNotesURL,
              QUrl("https://a.test/en"));
}

TEST(Appcast, PassesOverElementsOfOtherKinds) {
    EXPECT_EQ(only(item("<version>9</version><sparkle:tags><sparkle:criticalUpdate/></sparkle:tags>"
                        "<sparkle:version>2</sparkle:version>"))
                  .version,
              "2");
}

TEST(Appcast, TakesNotesForTextHoweverManyTagsTheyHave) {
    const std::string notes = [] {
        std::string text;
        for (int i = 0; i < 5000; ++i)
            text += "<p class='x'>New";
        return text;
    }();
    EXPECT_EQ(only(item("<sparkle:version>2</sparkle:version><description><![CDATA[" + notes +
                        "]]></description>"))
                  .description.toStdString(),
              notes);
}

TEST(Appcast, PassesOverSignsOfTagsWithinQuotesAndComments) {
    EXPECT_EQ(only("<!-- <a><b> ' --><?x <a>?>" +
                   item("<sparkle:version>2</sparkle:version><x a='/>' b=\"'>\"/>"))
                  .version,
              "2");
}

TEST(Appcast, MayHaveNoItems) {
    EXPECT_EQ(parse("").size(), 0U);
}

// What is refused.

struct Refusal {
    std::string name;
    QByteArray data;
    std::string sentence;
};
std::ostream& operator<<(std::ostream& stream, const Refusal& refusal) {
    return stream << refusal.name;
}

constexpr const char* damaged = "The update feed is damaged and cannot be read.";
constexpr const char* tooLarge = "The update feed is too large to be genuine.";
constexpr const char* noFeed = "The address of the update feed leads to no feed.";

class RefusedFeed : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedFeed, IsRefusedInOneSentence) {
    EXPECT_EQ(failure(GetParam().data), GetParam().sentence);
}

std::string repeatedText(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

QByteArray repeated(const std::string& text, std::size_t count) {
    return feed(repeatedText(text, count));
}

/// The texts with a number of its own between each pair of them.
std::string numbered(const std::string& before, const std::string& after, qsizetype count) {
    std::string result;
    for (qsizetype i = 0; i < count; ++i)
        result += before + std::to_string(i) + after;
    return result;
}

INSTANTIATE_TEST_SUITE_P(
    All, RefusedFeed,
    testing::Values(
        Refusal{"Empty", "", damaged}, Refusal{"NoXML", "Not found", damaged},
        Refusal{"BrokenOff", feed(item("")).chopped(20), damaged},
        Refusal{"WithSomethingBehind", feed("") + "<x/>", damaged},
        Refusal{"WithTagsThatDoNotMatch", feed("<item></sparkle:item>"), damaged},
        Refusal{"WithBytesThatAreNoText", feed("<title>\xff\xfe</title>"), damaged},
        Refusal{"APage", "<html><body>Sign in</body></html>", noFeed},
        Refusal{"WithoutAChannel", "<rss version=\"2.0\"><item/></rss>", noFeed},
        Refusal{"WithADocumentType", "<!DOCTYPE rss><rss><channel/></rss>", damaged},
        Refusal{"WithAnEntityOfAFile",
                "<!DOCTYPE rss [<!ENTITY x SYSTEM \"file:///etc/hostname\">]><rss><channel>"
                "<title>&x;</title></channel></rss>",
                damaged},
        Refusal{"WithEntitiesThatGrow",
                "<!DOCTYPE rss [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]><rss>"
                "<channel><title>&b;&b;</title></channel></rss>",
                damaged},
        Refusal{"WithAnEntityThatIsUnknown", feed("<title>&x;</title>"), damaged},
        Refusal{"WithAVersionOfTwoLines", feed(item("<sparkle:version>1\n2</sparkle:version>")),
                damaged},
        Refusal{"WithAVersionThatIsLong",
                feed(item("<sparkle:version>" + std::string(101, '1') + "</sparkle:version>")),
                damaged},
        Refusal{"OfManyBytes", feed(std::string(Appcast::largestFeed, ' ')), tooLarge},
        Refusal{"OfManyItems",
                repeated(item("<sparkle:version>1</sparkle:version>"), Appcast::mostItems + 1),
                tooLarge},
        Refusal{"WithALongText",
                feed(item("<sparkle:channel>" + std::string(Appcast::longestText + 1, 'x') +
                          "</sparkle:channel>")),
                tooLarge},
        Refusal{"WithALongAttribute",
                feed(item("", "sparkle:edSignature=\"" +
                                  std::string(Appcast::longestText + 1, 'x') + "\"")),
                tooLarge},
        Refusal{"WithLongNotes",
                feed(item("<description>" + std::string(Appcast::longestDescription + 1, 'x') +
                          "</description>")),
                tooLarge},
        Refusal{"WithATagOfManyAttributes",
                feed("<x" + numbered(" a", "=''", Appcast::longestTag / 4) + "/>"), tooLarge},
        Refusal{"WithATagThatDoesNotEnd", feed("<x a='" + std::string(10'000, '>')), tooLarge},
        Refusal{"WithManyNamespaces",
                repeated("<x xmlns:a=\"urn:x\"/>", Appcast::mostNamespaces + 1), tooLarge},
        Refusal{"ThatIsDeep",
                feed(repeatedText("<x>", Appcast::deepestElement) +
                     repeatedText("</x>", Appcast::deepestElement)),
                tooLarge},
        Refusal{"InAnotherEncoding",
                "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?><rss><channel><title>\xe9"
                "</title></channel></rss>",
                damaged}),
    [](const auto& example) { return example.param.name; });

// What is chosen.

AppcastItem offered(const QString& version, const QString& os = "linux") {
    AppcastItem result;
    result.version = version;
    result.os = os;
    return result;
}

QString bestVersion(const std::vector<AppcastItem>& items, const QString& system = "6.1.0") {
    const AppcastItem* best = Appcast::best(items, system);
    return best ? best->version : QString();
}

TEST(BestItem, IsTheNewest) {
    EXPECT_EQ(bestVersion({offered("1.9"), offered("1.10"), offered("1.2")}), "1.10");
}

TEST(BestItem, IsForThisKindOfSystem) {
    EXPECT_EQ(bestVersion({offered("1", "Linux"), offered("2", ""), offered("3", "macos"),
                           offered("4", "windows")}),
              "1");
}

TEST(BestItem, IsInNoChannel) {
    AppcastItem beta = offered("2");
    beta.channel = "beta";
    EXPECT_EQ(bestVersion({beta, offered("1")}), "1");
}

TEST(BestItem, NeedsNoNewerSystem) {
    AppcastItem demanding = offered("2");
    demanding.minimumSystemVersion = "6.2";
    EXPECT_EQ(bestVersion({demanding, offered("1")}), "1");
    EXPECT_EQ(bestVersion({demanding, offered("1")}, "6.2.0"), "2");
}

TEST(BestItem, NeedsNoOlderSystem) {
    AppcastItem old = offered("2");
    old.maximumSystemVersion = "6.0";
    EXPECT_EQ(bestVersion({old, offered("1")}), "1");
    EXPECT_EQ(bestVersion({old, offered("1")}, "6.0"), "2");
}

TEST(BestItem, IsAbsentWhenNothingFits) {
    EXPECT_EQ(Appcast::best({offered("1", "macos")}, "6.1"), nullptr);
}

} // namespace
} // namespace Bleedwise
