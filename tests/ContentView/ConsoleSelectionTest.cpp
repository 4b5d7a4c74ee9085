#include "ContentView/ConsoleSelection.h"

#include "ContentView/LogLinesModel.h"
#include "support/WindowFixture.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QStringList>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

class ConsoleSelectionTest : public Testing::WindowFixture {
protected:
    ConsoleSelectionTest() {
        lines.append(QStringList{"first line", "second", "", "the fourth line"});
        selection.setLines(&lines);
    }

    LogLinesModel lines;
    ConsoleSelection selection;
};

TEST_F(ConsoleSelectionTest, IsEmptyAtFirst) {
    EXPECT_TRUE(selection.isEmpty());
}

TEST_F(ConsoleSelectionTest, IsEmptyWhereItBegins) {
    selection.begin(1, 3);
    EXPECT_TRUE(selection.isEmpty());
}

TEST_F(ConsoleSelectionTest, HoldsAPartOfALine) {
    selection.begin(0, 6);
    selection.extendTo(0, 8);
    EXPECT_EQ(selection.text(), "li");
}

TEST_F(ConsoleSelectionTest, GoesAcrossLines) {
    selection.begin(0, 6);
    selection.extendTo(3, 3);
    EXPECT_EQ(selection.text(), "line\nsecond\n\nthe");
}

TEST_F(ConsoleSelectionTest, GoesUpwardsAsWell) {
    selection.begin(3, 3);
    selection.extendTo(0, 6);
    EXPECT_EQ(selection.text(), "line\nsecond\n\nthe");
}

TEST_F(ConsoleSelectionTest, ShowsItsPartOfEachLine) {
    selection.begin(0, 6);
    selection.extendTo(3, 3);
    EXPECT_EQ(selection.rangeIn(0), QPoint(6, 10));
    EXPECT_EQ(selection.rangeIn(1), QPoint(0, 6));
    EXPECT_EQ(selection.rangeIn(2), QPoint(0, 0));
    EXPECT_EQ(selection.rangeIn(3), QPoint(0, 3));
}

TEST_F(ConsoleSelectionTest, ShowsNothingOfOtherLines) {
    selection.begin(1, 0);
    selection.extendTo(1, 3);
    EXPECT_EQ(selection.rangeIn(0), QPoint());
    EXPECT_EQ(selection.rangeIn(2), QPoint());
}

TEST_F(ConsoleSelectionTest, EndsWithTheLineForAPositionBehindIt) {
    selection.begin(0, 6);
    selection.extendTo(0, 1000);
    EXPECT_EQ(selection.text(), "line");
}

TEST_F(ConsoleSelectionTest, EndsWithTheConsoleForALineBehindIt) {
    selection.begin(3, 4);
    selection.extendTo(1000, 0);
    EXPECT_EQ(selection.text(), "fourth line");
}

TEST_F(ConsoleSelectionTest, TakesAllLines) {
    selection.selectAll();
    EXPECT_EQ(selection.text(), "first line\nsecond\n\nthe fourth line");
}

TEST_F(ConsoleSelectionTest, TakesTheWordAtAPlace) {
    selection.selectWord(3, 6);
    EXPECT_EQ(selection.text(), "fourth");
}

TEST_F(ConsoleSelectionTest, TakesTheLastWordAtTheEndOfALine) {
    selection.selectWord(0, 1000);
    EXPECT_EQ(selection.text(), "line");
}

TEST_F(ConsoleSelectionTest, GrowsByLinesFromTheFirst) {
    selection.extendByLines(1);
    EXPECT_EQ(selection.text(), "first line\n");
}

TEST_F(ConsoleSelectionTest, GrowsByLinesFromTheLast) {
    selection.extendByLines(-1);
    EXPECT_EQ(selection.text(), "\nthe fourth line");
}

TEST_F(ConsoleSelectionTest, StopsGrowingAtTheEnd) {
    selection.begin(2, 0);
    selection.extendByLines(1);
    selection.extendByLines(1);
    selection.extendByLines(1);
    EXPECT_EQ(selection.text(), "\nthe fourth line");
}

TEST_F(ConsoleSelectionTest, StaysWhileTheConsoleGrows) {
    selection.begin(3, 0);
    selection.extendTo(3, 3);
    lines.append(QStringList{"fifth"});
    EXPECT_EQ(selection.text(), "the");
}

TEST_F(ConsoleSelectionTest, GoesWithTheLines) {
    selection.selectAll();
    lines.clear();
    EXPECT_TRUE(selection.isEmpty());
}

TEST_F(ConsoleSelectionTest, AnnouncesEachChange) {
    int changes = 0;
    QObject::connect(&selection, &ConsoleSelection::changed, [&] { ++changes; });
    selection.begin(0, 0);
    selection.extendTo(0, 1);
    selection.extendTo(0, 1);
    EXPECT_EQ(changes, 2);
}

TEST_F(ConsoleSelectionTest, GoesToTheClipboard) {
    selection.begin(0, 6);
    selection.extendTo(1, 6);
    selection.copy();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "line\nsecond");
}

TEST_F(ConsoleSelectionTest, LeavesTheClipboardAloneWhenEmpty) {
    QGuiApplication::clipboard()->setText("before");
    selection.copy();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "before");
}

TEST_F(ConsoleSelectionTest, HasNothingToTakeFromAnEmptyConsole) {
    LogLinesModel none;
    selection.setLines(&none);
    selection.begin(0, 0);
    selection.extendTo(3, 3);
    selection.selectAll();
    selection.extendByLines(1);
    selection.selectWord(0, 0);
    EXPECT_TRUE(selection.isEmpty());
}

} // namespace
} // namespace Bleedwise
