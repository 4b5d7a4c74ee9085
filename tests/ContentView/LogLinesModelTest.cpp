#include "ContentView/LogLinesModel.h"

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

TEST(LogLinesModel, ShowsItsLinesInOrder) {
    LogLinesModel log;
    log.append("one");
    log.append(QStringList{"two", "three"});
    EXPECT_EQ(log.lines(), (QStringList{"one", "two", "three"}));
    EXPECT_EQ(log.rowCount(), 3);
    EXPECT_EQ(log.data(log.index(2), LogLinesModel::LineRole), "three");
}

TEST(LogLinesModel, NamesItsRoleForQML) {
    EXPECT_EQ(LogLinesModel().roleNames().value(LogLinesModel::LineRole), "line");
}

TEST(LogLinesModel, AnnouncesAllLinesOfABlockAtOnce) {
    LogLinesModel log;
    log.append("one");
    QList<QPair<int, int>> announced;
    QObject::connect(&log, &LogLinesModel::rowsInserted,
                     [&](const QModelIndex&, int first, int last) {
                         announced.append({first, last});
                     });
    log.append(QStringList{"two", "three", "four"});
    EXPECT_EQ(announced, (QList<QPair<int, int>>{{1, 3}}));
}

TEST(LogLinesModel, AnnouncesNothingForAnEmptyBlock) {
    LogLinesModel log;
    int announcements = 0;
    QObject::connect(&log, &LogLinesModel::countChanged, [&] { ++announcements; });
    log.append(QStringList());
    EXPECT_EQ(announcements, 0);
}

TEST(LogLinesModel, IsEmptyAfterClearing) {
    LogLinesModel log;
    log.append(QStringList{"one", "two"});
    int announcements = 0;
    QObject::connect(&log, &LogLinesModel::countChanged, [&] { ++announcements; });
    log.clear();
    log.clear();
    EXPECT_EQ(log.count(), 0);
    EXPECT_EQ(announcements, 1);
}

TEST(LogLinesModel, GivesARangeOfLinesAsOneText) {
    LogLinesModel log;
    log.append(QStringList{"one", "two", "three"});
    EXPECT_EQ(log.text(1, 2), "two\nthree");
    EXPECT_EQ(log.text(0, 0), "one");
    EXPECT_EQ(log.text(-5, 99), "one\ntwo\nthree");
    EXPECT_EQ(log.text(2, 1), "");
}

} // namespace
} // namespace Bleedwise
