#include "BleedwiseApp/updater/ReleaseNotes.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

struct Example {
    std::string name;
    QString written;
    QString shown;
};
std::ostream& operator<<(std::ostream& stream, const Example& example) {
    return stream << example.name;
}

constexpr auto nameOf = [](const auto& example) { return example.param.name; };

class HTMLNotes : public testing::TestWithParam<Example> {};

TEST_P(HTMLNotes, AreShownAsTextWithLinks) {
    EXPECT_EQ(ReleaseNotes::fromHTML(GetParam().written).toStdString(),
              GetParam().shown.toStdString());
}

INSTANTIATE_TEST_SUITE_P(
    All, HTMLNotes,
    testing::Values(Example{"Nothing", "", ""},
                    Example{"Words", "New  and\n better", "New and better"},
                    Example{"Emphasis", "<b>Bold</b> and <i class='x'>not</i>", "Bold and not"},
                    Example{"Paragraphs", "<p>One</p>\n<p>Two</p>", "One<br><br>Two"},
                    Example{"Heading", "<h2>New</h2>Text", "New<br><br>Text"},
                    Example{"Lines", "One<br>Two<br/>Three", "One<br>Two<br>Three"},
                    Example{"List", "<ul><li>One</li>\n<li>Two</li></ul>", "• One<br>• Two"},
                    Example{"Link", "See <a href=\"https://a.test/x?y=1&amp;z=2\">this</a>.",
                            "See <a href=\"https://a.test/x?y=1&amp;z=2\">this</a>."},
                    Example{"LinkWithoutQuotes", "<A HREF=https://a.test/>this</A>",
                            "<a href=\"https://a.test/\">this</a>"},
                    Example{"LinkThatIsNotEnded", "<a href='https://a.test/'>this",
                            "<a href=\"https://a.test/\">this</a>"},
                    Example{"LinkToAProgram", "<a href=\"javascript:x()\">this</a>", "this"},
                    Example{"LinkToAFile", "<a href=\"file:///etc/passwd\">this</a>", "this"},
                    Example{"LinkWithAQuote", "<a href='https://a.test/\"onclick=x'>this</a>",
                            "this"},
                    Example{"Picture", "A<img src=\"https://a.test/x.png\" alt='>'>B", "AB"},
                    Example{"Script", "A<script>if (a<b) x()</script>B", "AB"},
                    Example{"Style", "<style>p { }</style>A", "A"},
                    Example{"ScriptThatIsNotEnded", "A<script>B", "A"},
                    Example{"Comment", "A<!-- <b> -->B", "AB"},
                    Example{"CommentThatIsNotEnded", "A<!-- B", "A"},
                    Example{"Entities", "&lt;b&gt; &amp;amp; &quot;&#65;&#x42;&nbsp;&hellip;",
                            "&lt;b&gt; &amp;amp; &quot;AB\u00a0…"},
                    Example{"EntitiesThatAreNone", "R&D &unknown; &#0; &#xD800; &#99999999; &",
                            "R&amp;D &amp;unknown; &amp;#0; &amp;#xD800; &amp;#99999999; &amp;"},
                    Example{"ComparisonSigns", "1 < 2 > 1", "1 &lt; 2 &gt; 1"},
                    Example{"TagThatIsNotEnded", "A<b class='x", "A"},
                    Example{"TurnedRoundText", "A\u202eB\u0007", "AB"}),
    nameOf);

class PlainNotes : public testing::TestWithParam<Example> {};

TEST_P(PlainNotes, AreShownWithTheirLines) {
    EXPECT_EQ(ReleaseNotes::fromPlainText(GetParam().written).toStdString(),
              GetParam().shown.toStdString());
}

INSTANTIATE_TEST_SUITE_P(
    All, PlainNotes,
    testing::Values(Example{"Lines", "One\nTwo\r\nThree", "One<br>Two<br>Three"},
                    Example{"EmptyLines", "One\n\n\n\nTwo\n", "One<br><br>Two"},
                    Example{"Markup", "<b>&amp;</b>", "&lt;b&gt;&amp;amp;&lt;/b&gt;"},
                    Example{"Address", "See https://a.test/x.",
                            "See <a href=\"https://a.test/x\">https://a.test/x</a>."},
                    Example{"AddressWithoutAHost", "https:// x", "https:// x"},
                    Example{"OtherAddress", "file:///x", "file:///x"}),
    nameOf);

TEST(ReleaseNotes, EndWithAnEllipsisWhenTheyAreOfManyAddresses) {
    const QString notes = ReleaseNotes::fromPlainText(QString("https://a.test/ ").repeated(2000));
    EXPECT_EQ(notes.count("<a "), 20'000 / 16);
    EXPECT_TRUE(notes.endsWith("…"));
}

TEST(ReleaseNotes, EndWithAnEllipsisWhenTheyAreLong) {
    const QString notes = ReleaseNotes::fromHTML(QString(300'000, 'x'));
    EXPECT_EQ(notes.size(), 20'001);
    EXPECT_TRUE(notes.endsWith(u'…'));
}

} // namespace
} // namespace Bleedwise
