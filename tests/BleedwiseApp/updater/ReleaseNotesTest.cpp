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
    testing::Values(
        Example{"Nothing", "", ""}, Example{"Words", "New  and\n better", "<p>New and better</p>"},
        Example{"Emphasis", "<b>Bold</b> and <i class='x'>not</i>", "<p>Bold and not</p>"},
        Example{"Paragraphs", "<p>One</p>\n<p>Two</p>", "<p>One</p><p>Two</p>"},
        Example{"EmptyParagraphs", "<p></p>One<p> </p>", "<p>One</p>"},
        Example{"Heading", "<h2>New</h2>Text", "<p class=\"heading2\">New</p><p>Text</p>"},
        Example{
            "HeadingsOfAllLevels", "<h1>1</h1><h2>2</h2><h3>3</h3><h4>4</h4><h5>5</h5><h6>6</h6>",
            "<p class=\"heading1\">1</p><p class=\"heading2\">2</p><p class=\"heading3\">3</p><p "
            "class=\"heading3\">4</p><p class=\"heading3\">5</p><p class=\"heading3\">6</p>"},
        Example{"HeadingWithAttributes", "<h2 style='x' onclick='x'>New</h2>",
                "<p class=\"heading2\">New</p>"},
        Example{"HeadingThatIsNotEnded", "<h2>New", "<p class=\"heading2\">New</p>"},
        Example{"HeadingInAParagraph", "<p>A<h2>B</h2>C</p>",
                "<p>A</p><p class=\"heading2\">B</p><p>C</p>"},
        Example{"Lines", "One<br>Two<br/>Three", "<p>One<br>Two<br>Three</p>"},
        Example{"EmptyLines", "One<br><br><br><br>Two", "<p>One<br><br>Two</p>"},
        Example{"LinesAroundParagraphs", "<br><p>One<br></p><br><p>Two</p>",
                "<p>One</p><p>Two</p>"},
        Example{"Divisions", "<div>One</div><div>Two</div>", "<p>One<br>Two</p>"},
        Example{"List", "<ul><li>One</li>\n<li>Two</li></ul>",
                "<p class=\"item\">• One</p><p class=\"item\">• Two</p>"},
        Example{"ListWithoutEnds", "A<ul><li>One<li>Two</ul>B",
                "<p>A</p><p class=\"item\">• One</p><p class=\"item\">• Two</p><p>B</p>"},
        Example{"ListOfParagraphs", "<ul><li> <p>One</p> <p>More</p></li></ul>",
                "<p class=\"item\">• One</p><p>More</p>"},
        Example{"EmptyItem", "<ul><li></li><li>One</li></ul>", "<p class=\"item\">• One</p>"},
        Example{"Link", "See <a href=\"https://a.test/x?y=1&amp;z=2\">this</a>.",
                "<p>See <a href=\"https://a.test/x?y=1&amp;z=2\">this</a>.</p>"},
        Example{"LinkWithoutQuotes", "<A HREF=https://a.test/>this</A>",
                "<p><a href=\"https://a.test/\">this</a></p>"},
        Example{"LinkThatIsNotEnded", "<a href='https://a.test/'>this",
                "<p><a href=\"https://a.test/\">this</a></p>"},
        Example{"LinkAcrossBlocks", "<a href='https://a.test/'><h2>New</h2>Text</a> end",
                "<p class=\"heading2\"><a href=\"https://a.test/\">New</a></p>"
                "<p>Text end</p>"},
        Example{"LinkOfNothing", "A<a href='https://a.test/'></a>B", "<p>AB</p>"},
        Example{"LinkToAProgram", "<a href=\"javascript:x()\">this</a>", "<p>this</p>"},
        Example{"LinkToAFile", "<a href=\"file:///etc/passwd\">this</a>", "<p>this</p>"},
        Example{"LinkWithAQuote", "<a href='https://a.test/\"onclick=x'>this</a>", "<p>this</p>"},
        Example{"Picture", "A<img src=\"https://a.test/x.png\" alt='>'>B", "<p>AB</p>"},
        Example{"Script", "A<script>if (a<b) x()</script>B", "<p>AB</p>"},
        Example{"Style", "<style>p { }</style>A", "<p>A</p>"},
        Example{"ScriptThatIsNotEnded", "A<script>B", "<p>A</p>"},
        Example{"Comment", "A<!-- <b> -->B", "<p>AB</p>"},
        Example{"CommentThatIsNotEnded", "A<!-- B", "<p>A</p>"},
        Example{"Entities", "&lt;b&gt; &amp;amp; &quot;&#65;&#x42;&nbsp;&hellip;",
                "<p>&lt;b&gt; &amp;amp; &quot;AB\u00a0…</p>"},
        Example{"EntitiesThatAreNone", "R&D &unknown; &#0; &#xD800; &#99999999; &",
                "<p>R&amp;D &amp;unknown; &amp;#0; &amp;#xD800; &amp;#99999999; &amp;</p>"},
        Example{"ComparisonSigns", "1 < 2 > 1", "<p>1 &lt; 2 &gt; 1</p>"},
        Example{"TagThatIsNotEnded", "A<b class='x", "<p>A</p>"},
        Example{"TurnedRoundText", "A\u202eB\u0007", "<p>AB</p>"}),
    nameOf);

class PlainNotes : public testing::TestWithParam<Example> {};

TEST_P(PlainNotes, AreShownWithTheirLines) {
    EXPECT_EQ(ReleaseNotes::fromPlainText(GetParam().written).toStdString(),
              GetParam().shown.toStdString());
}

INSTANTIATE_TEST_SUITE_P(
    All, PlainNotes,
    testing::Values(Example{"Nothing", "\n\n", ""},
                    Example{"Lines", "One\nTwo\r\nThree", "<p>One<br>Two<br>Three</p>"},
                    Example{"EmptyLines", "One\n\n\n\nTwo\n", "<p>One</p><p>Two</p>"},
                    Example{"EmptyLinesOfAnotherSystem", "One\r\n\r\nTwo\r\n",
                            "<p>One</p><p>Two</p>"},
                    Example{"Markup", "<b>&amp;</b>", "<p>&lt;b&gt;&amp;amp;&lt;/b&gt;</p>"},
                    Example{"Address", "See https://a.test/x.",
                            "<p>See <a href=\"https://a.test/x\">https://a.test/x</a>.</p>"},
                    Example{"AddressWithoutAHost", "https:// x", "<p>https:// x</p>"},
                    Example{"OtherAddress", "file:///x", "<p>file:///x</p>"}),
    nameOf);

TEST(ReleaseNotes, EndWithAnEllipsisWhenTheyAreOfManyAddresses) {
    const QString notes = ReleaseNotes::fromPlainText(QString("https://a.test/ ").repeated(2000));
    EXPECT_EQ(notes.count("<a "), 20'000 / 16);
    EXPECT_TRUE(notes.endsWith("…</p>"));
}

TEST(ReleaseNotes, GrowNoMoreThanTheirLinks) {
    const QString link = "<a href='https://a.test/" + QString(100'000, 'x') + "'>";
    const QString notes = ReleaseNotes::fromHTML(link + QString("<p>x").repeated(10'000));
    EXPECT_LT(notes.size(), 200'000);
}

TEST(ReleaseNotes, EndWithAnEllipsisWhenTheyAreLong) {
    const QString notes = ReleaseNotes::fromHTML(QString(300'000, 'x'));
    EXPECT_EQ(notes.count(u'x'), 20'000);
    EXPECT_TRUE(notes.endsWith("x…</p>"));
}

} // namespace
} // namespace Bleedwise
