// Feeds the reader of update feeds, and that of release notes, with damaged ones:
//   AppcastFuzz SECONDS [SEED]
//   AppcastFuzz --inputs COUNT [SEED]
// The same seed gives the same inputs. Ends with status 1 at the first result that must not be, and
// leaves the input in AppcastFuzz.input; meant to be built with the sanitizers, which end it at
// what must not happen.

#include "BleedwiseApp/updater/Appcast.h"
#include "BleedwiseApp/updater/ReleaseNotes.h"
#include "BleedwiseApp/updater/UpdateError.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <QString>
#include <QStringList>

namespace Bleedwise {
namespace {

constexpr std::array<std::string_view, 4> seeds = {
    R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel><title>Changes</title><item><title>2.0</title><sparkle:version>200</sparkle:version>
<sparkle:shortVersionString>2.0</sparkle:shortVersionString>
<sparkle:minimumSystemVersion>6.1</sparkle:minimumSystemVersion>
<description><![CDATA[<h2>New</h2><ul><li>A <a href="https://a.test/?a=1&amp;b">link</a></li>
<li>&eacute;&#x20ac;&hellip;</li></ul><script>x</script><!-- c -->]]></description>
<enclosure url="https://a.test/b.deb" length="1234" type="application/octet-stream"
 sparkle:os="linux" sparkle:edSignature="7cLALFUHSwvEJWSkV8aMreoBe4fhRa4FncC5NoThKxw="/>
</item></channel></rss>)",
    R"(<rss xmlns:s="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel><item>
<enclosure url="a.rpm" s:version="1.0b2" s:os="linux"/><s:deltas><enclosure url="d"/></s:deltas>
<s:channel>beta</s:channel><s:releaseNotesLink xml:lang="de">n.html</s:releaseNotesLink>
<description s:format="plain-text">See https://a.test/x.</description></item></channel></rss>)",
    R"(<!DOCTYPE rss [<!ENTITY a "aaaa"><!ENTITY b "&a;&a;"><!ENTITY f SYSTEM "file:///x">]>
<rss><channel><title>&b;&f;</title></channel></rss>)",
    "\xff\xfe<\0r\0s\0s\0>\0<\0/\0r\0s\0s\0>\0"};

constexpr std::array<std::string_view, 21> pieces = {"<item>",
                                                     "</item>",
                                                     "<![CDATA[",
                                                     "]]>",
                                                     "<!--",
                                                     "-->",
                                                     "<?xml version=\"1.1\"?>",
                                                     "&#0;",
                                                     "&amp;",
                                                     "xmlns:",
                                                     "sparkle:",
                                                     "\xf0",
                                                     "\xed\xa0\x80",
                                                     "<a href='https://a.test/\"'>",
                                                     "\"",
                                                     "<li>",
                                                     "<p>",
                                                     "<h3>",
                                                     "</h3>",
                                                     "<br>",
                                                     "99999999999999999999"};

class Mutator {
public:
    explicit Mutator(std::uint64_t seed) : random_(seed) {}

    std::string next() {
        std::string input(seeds[below(seeds.size())]);
        for (std::size_t count = below(12); count > 0; --count)
            change(input);
        return input;
    }

private:
    std::size_t below(std::size_t limit) {
        return limit == 0 ? 0 : static_cast<std::size_t>(random_() % limit);
    }

    void change(std::string& input) {
        constexpr std::size_t longestInput = 1 << 20;
        const std::size_t position = below(input.size());
        const std::size_t length = below(std::min<std::size_t>(input.size() - position, 200));
        switch (below(6)) {
        case 0:
            if (!input.empty())
                input[position] = static_cast<char>(below(256));
            break;
        case 1:
            input.erase(position, length);
            break;
        case 2: // again, many times
            for (std::size_t count = below(40); count > 0 && input.size() < longestInput; --count)
                input.insert(position, input.substr(position, length));
            break;
        case 3:
            input.insert(position, pieces[below(pieces.size())]);
            break;
        case 4: // from elsewhere
            input.insert(position, input.substr(below(input.size()), length));
            break;
        default:
            input.resize(position);
        }
    }

    std::mt19937_64 random_;
};

void require(bool condition, const char* what) {
    if (!condition)
        throw std::logic_error(what);
}

/// That notes are escaped text in blocks side by side, with line breaks and links to the web in
/// them, and nothing else.
void requireHarmless(const QString& notes) {
    static const QStringList blocks = {"<p>", "<p class=\"item\">", "<p class=\"heading1\">",
                                       "<p class=\"heading2\">", "<p class=\"heading3\">"};
    QString open; // the elements that are not ended, the innermost one in front
    for (qsizetype at = notes.indexOf(u'<'); at >= 0; at = notes.indexOf(u'<', at + 1)) {
        const QString tag = notes.mid(at, notes.indexOf(u'>', at) + 1 - at);
        if (tag.startsWith(u"</")) {
            require(open.startsWith(tag), "an end in the notes");
            open.remove(0, tag.size());
        } else if (open.isEmpty()) {
            require(blocks.contains(tag), "a tag in the notes that is no block");
            open = "</p>";
        } else if (tag != QLatin1String("<br>")) {
            require(tag.startsWith(u"<a href=\"https://") || tag.startsWith(u"<a href=\"http://"),
                    "a tag in the notes that is no link");
            require(!open.startsWith(u"</a>"), "a link in a link");
            open.prepend(u"</a>");
        }
    }
    require(open.isEmpty(), "notes that do not end");
}

void readFeed(const std::string& input) {
    std::vector<AppcastItem> items;
    try {
        items = Appcast::parse(QByteArray::fromStdString(input), QUrl("https://a.test/feed.xml"));
    } catch (const UpdateError&) {
        return;
    }
    require(items.size() <= Appcast::mostItems, "too many items");
    for (const AppcastItem& item : items) {
        require(!item.version.isEmpty() && item.url.isValid() && item.length >= 0, "half an item");
        requireHarmless(item.descriptionIsPlain ? ReleaseNotes::fromPlainText(item.description)
                                                : ReleaseNotes::fromHTML(item.description));
    }
    const AppcastItem* best = Appcast::best(items, "6.1.0");
    require(!best || best->channel.isEmpty(), "an item of a channel");
}

void readNotes(const std::string& input) {
    requireHarmless(ReleaseNotes::fromHTML(QString::fromUtf8(input)));
    requireHarmless(ReleaseNotes::fromPlainText(QString::fromUtf8(input)));
}

int run(std::uint64_t seed, const std::function<bool(std::uint64_t count)>& isEnough) {
    Mutator mutator(seed);
    std::uint64_t count = 0;
    for (; !isEnough(count); ++count) {
        const std::string input = mutator.next();
        try {
            readFeed(input);
            readNotes(input);
        } catch (const std::exception& error) {
            std::ofstream("AppcastFuzz.input", std::ios::binary) << input;
            std::cerr << "ERROR: input " << count << ": " << error.what() << '\n';
            return EXIT_FAILURE;
        }
    }
    std::cout << count << " inputs\n";
    return EXIT_SUCCESS;
}

} // namespace
} // namespace Bleedwise

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool counts = !arguments.empty() && arguments[0] == "--inputs";
    const std::size_t limitAt = counts ? 1 : 0;
    if (arguments.size() <= limitAt) {
        std::cerr
            << "usage: AppcastFuzz SECONDS [SEED]\n       AppcastFuzz --inputs COUNT [SEED]\n";
        return EXIT_FAILURE;
    }
    const std::uint64_t limit = std::stoull(arguments[limitAt]);
    const std::uint64_t seed =
        arguments.size() > limitAt + 1 ? std::stoull(arguments[limitAt + 1]) : 1;
    if (counts)
        return Bleedwise::run(seed, [limit](std::uint64_t count) { return count >= limit; });
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(limit);
    return Bleedwise::run(seed, [end](std::uint64_t) { return Clock::now() >= end; });
}
