#include "ContentView/JobListModel.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <QAbstractItemModelTester>
#include <QUrl>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Field = DimensionField::Value;
using State = ConversionJob::State;
using Texts = std::vector<std::string>;

ConversionJob jobFor(const std::filesystem::path& inputURL) {
    ConversionJob job;
    job.inputURL = inputURL;
    job.originalWidthMM = job.widthMM = "210";
    job.originalHeightMM = job.heightMM = "297";
    job.originalBleedMM = job.bleedMM = "3";
    return job;
}

class JobListModelTest : public testing::Test {
protected:
    JobListModelTest() {
        QObject::connect(&list, &JobListModel::dataChanged,
                         [this](const QModelIndex& first, const QModelIndex& last,
                                const QList<int>& roles) { note(first.row(), last.row(), roles); });
    }

    void append(int count) {
        std::vector<ConversionJob> jobs;
        for (int index = 0; index < count; ++index)
            jobs.push_back(jobFor("/" + std::to_string(list.count() + index) + ".pdf"));
        list.append(std::move(jobs));
        announced.clear();
    }

    QVariant at(int row, JobListModel::Role role) const { return list.data(list.index(row), role); }

    QUuid idAt(int row) const { return list.at(row).id; }

    /// Rows below which a line is drawn.
    std::vector<int> dividers() const {
        std::vector<int> rows;
        for (int row = -1; row <= list.count(); ++row) {
            if (list.shouldShowDivider(row))
                rows.push_back(row);
        }
        return rows;
    }

    JobListModel list;
    /// Announced changes: the row, or rows, and the names of the roles in alphabetical order.
    Texts announced;

private:
    void note(int first, int last, const QList<int>& roles) {
        Texts names;
        for (const int role : roles)
            names.push_back(list.roleNames().value(role).toStdString());
        std::sort(names.begin(), names.end());
        std::string text = std::to_string(first);
        if (last != first)
            text += "-" + std::to_string(last);
        for (const std::string& name : names)
            text += " " + name;
        announced.push_back(text);
    }
};

TEST_F(JobListModelTest, KeepsTheRulesOfAModel) {
    const QAbstractItemModelTester tester(&list,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    append(3);
    list.setSelectedJobID(idAt(1));
    list.remove(idAt(1));
    list.setState(0, State::Completed);
    append(2);
    list.resetResults();
    list.remove(idAt(3));
    EXPECT_EQ(list.count(), 3);
}

TEST_F(JobListModelTest, AppendsAtTheEnd) {
    append(2);
    append(1);
    EXPECT_EQ(at(0, JobListModel::FileNameRole), "0.pdf");
    EXPECT_EQ(at(2, JobListModel::FileNameRole), "2.pdf");
}

TEST_F(JobListModelTest, ShowsEachFieldOfAJobUnderItsRole) {
    ConversionJob job = jobFor("/folder/a b.pdf");
    job.widthMM = "211";
    job.heightMM = "298";
    job.bleedMM = "4";
    job.state = State::Failed;
    job.outputURL = "/folder/out.pdf";
    job.errorMessage = "No.";
    list.append({job});
    list.setSelectedJobID(job.id);
    const std::pair<const char*, QVariant> expected[] = {
        {"jobID", job.id},
        {"fileName", "a b.pdf"},
        {"widthMM", "211"},
        {"heightMM", "298"},
        {"bleedMM", "4"},
        {"widthEdited", true},
        {"heightEdited", true},
        {"bleedEdited", true},
        {"state", QVariant::fromValue(State::Failed)},
        {"outputURL", QUrl("file:///folder/out.pdf")},
        {"errorMessage", "No."},
        {"summary", "No."},
        {"isSelected", true},
        {"showsDivider", false},
    };
    EXPECT_EQ(list.roleNames().size(), std::ssize(expected));
    for (const auto& [name, value] : expected)
        EXPECT_EQ(list.data(list.index(0), list.roleNames().key(name)), value) << name;
}

TEST_F(JobListModelTest, ShowsEmptyTextsForWhatAJobDoesNotHave) {
    append(1);
    EXPECT_EQ(at(0, JobListModel::OutputURLRole), QUrl());
    EXPECT_EQ(at(0, JobListModel::ErrorMessageRole), QString());
}

TEST_F(JobListModelTest, ShowsNothingOutsideTheList) {
    append(1);
    EXPECT_FALSE(list.data(list.index(1), JobListModel::FileNameRole).isValid());
    EXPECT_FALSE(list.data(QModelIndex(), JobListModel::FileNameRole).isValid());
}

TEST_F(JobListModelTest, HoldsAFileHoweverItsPathIsSpelled) {
    list.append({jobFor("/dir/./a.pdf")});
    EXPECT_TRUE(list.holds("/dir/a.pdf"));
    EXPECT_TRUE(list.holds("/dir/b/../a.pdf"));
    EXPECT_FALSE(list.holds("/a.pdf"));
}

TEST_F(JobListModelTest, HoldsAFileUntilItsLastJobIsRemoved) {
    list.append({jobFor("/a.pdf"), jobFor("/a.pdf")});
    list.remove(idAt(0));
    EXPECT_TRUE(list.holds("/a.pdf"));
    list.remove(idAt(0));
    EXPECT_FALSE(list.holds("/a.pdf"));
}

TEST_F(JobListModelTest, RemovesTheJobWithAnIdentity) {
    append(3);
    list.remove(idAt(1));
    EXPECT_EQ(list.count(), 2);
    EXPECT_EQ(at(1, JobListModel::FileNameRole), "2.pdf");
}

TEST_F(JobListModelTest, RemovesNothingUnderAnUnknownIdentity) {
    append(2);
    int changes = 0;
    QObject::connect(&list, &JobListModel::countChanged, [&] { ++changes; });
    list.remove(QUuid::createUuid());
    EXPECT_EQ(list.count(), 2);
    EXPECT_EQ(changes, 0);
}

TEST_F(JobListModelTest, FindsTheRowOfAJob) {
    append(3);
    EXPECT_EQ(list.rowOf(idAt(2)), 2);
    EXPECT_EQ(list.rowOf(QUuid::createUuid()), std::nullopt);
}

TEST_F(JobListModelTest, FindsTheFirstOfSeveralJobsWithOneIdentity) {
    const ConversionJob job = jobFor("/a.pdf");
    list.append({jobFor("/0.pdf"), job, job});
    list.setSelectedJobID(job.id);
    EXPECT_EQ(list.selectedJobIndex(), 1);
}

TEST_F(JobListModelTest, RemovesAllJobsWithOneIdentity) {
    const ConversionJob job = jobFor("/a.pdf");
    list.append({job, jobFor("/0.pdf"), job});
    list.remove(job.id);
    EXPECT_EQ(list.count(), 1);
}

TEST_F(JobListModelTest, HasNoSelectedRowWithoutASelection) {
    append(1);
    EXPECT_EQ(list.selectedJobIndex(), std::nullopt);
    list.setSelectedJobID(QUuid::createUuid());
    EXPECT_EQ(list.selectedJobIndex(), std::nullopt);
}

TEST_F(JobListModelTest, AnnouncesTheSelectedRowWheneverItMoves) {
    append(3);
    std::vector<int> rows;
    QObject::connect(&list, &JobListModel::selectedRowChanged,
                     [&] { rows.push_back(list.selectedRow()); });
    list.setSelectedJobID(idAt(2));
    list.remove(idAt(0));
    list.setSelectedJobID(QUuid());
    EXPECT_EQ(rows, (std::vector<int>{2, 1, -1}));
}

TEST_F(JobListModelTest, AnnouncesAnEditedTextAlone) {
    append(3);
    list.setText(1, Field::Width, "211");
    list.setText(1, Field::Height, "298");
    list.setText(1, Field::Bleed, "4");
    EXPECT_EQ(announced, (Texts{"1 summary widthEdited widthMM", "1 heightEdited heightMM summary",
                                "1 bleedEdited bleedMM summary"}));
}

TEST_F(JobListModelTest, AnnouncesAResultByItsParts) {
    append(3);
    list.setState(2, State::Failed);
    list.setOutputURL(2, "/out.pdf");
    list.setErrorMessage(2, "No.");
    EXPECT_EQ(announced, (Texts{"2 state", "2 outputURL", "2 errorMessage summary"}));
}

TEST_F(JobListModelTest, AnnouncesNothingThatDoesNotChange) {
    append(1);
    list.setText(0, Field::Width, "210");
    list.setState(0, State::Pending);
    list.setOutputURL(0, std::nullopt);
    list.setErrorMessage(0, std::nullopt);
    list.setSelectedJobID(QUuid());
    EXPECT_EQ(announced, Texts());
}

TEST_F(JobListModelTest, AnnouncesASelectionInTheRowsThatItTouches) {
    append(5);
    list.setSelectedJobID(idAt(1));
    EXPECT_EQ(announced, (Texts{"0 showsDivider", "1 isSelected showsDivider"}));
    announced.clear();
    list.setSelectedJobID(idAt(4));
    EXPECT_EQ(announced, (Texts{"0 showsDivider", "1 isSelected showsDivider", "3 showsDivider",
                                "4 isSelected showsDivider"}));
}

TEST_F(JobListModelTest, AnnouncesTheDividerBelowTheRowThatWasLast) {
    append(2);
    list.append({jobFor("/a.pdf")});
    EXPECT_EQ(announced, (Texts{"1 showsDivider"}));
}

TEST_F(JobListModelTest, AnnouncesTheDividerBelowTheRowThatBecomesLast) {
    append(3);
    list.remove(idAt(2));
    EXPECT_EQ(announced, (Texts{"1 showsDivider"}));
}

TEST_F(JobListModelTest, AnnouncesTheResetOfAllResultsAtOnce) {
    append(500);
    list.resetResults();
    EXPECT_EQ(announced, (Texts{"0-499 errorMessage outputURL state summary"}));
}

TEST_F(JobListModelTest, ResetsResults) {
    append(2);
    list.setState(0, State::Completed);
    list.setOutputURL(0, "/out.pdf");
    list.setState(1, State::Failed);
    list.setErrorMessage(1, "No.");
    list.resetResults();
    for (int row = 0; row < 2; ++row) {
        EXPECT_EQ(list.at(row).state, State::Pending);
        EXPECT_EQ(list.at(row).outputURL, std::nullopt);
        EXPECT_EQ(list.at(row).errorMessage, std::nullopt);
    }
    EXPECT_FALSE(list.anyFailed());
}

TEST_F(JobListModelTest, HasDividersBetweenAllRowsWithoutASelection) {
    append(4);
    EXPECT_EQ(dividers(), (std::vector<int>{0, 1, 2}));
}

TEST_F(JobListModelTest, HasNoDividersBesideTheSelectedRow) {
    append(5);
    list.setSelectedJobID(idAt(2));
    EXPECT_EQ(dividers(), (std::vector<int>{0, 3}));
}

TEST_F(JobListModelTest, HasNoDividersAroundASingleRow) {
    append(1);
    EXPECT_EQ(dividers(), std::vector<int>());
}

TEST_F(JobListModelTest, IsNotCompletedWhenItIsEmpty) {
    EXPECT_FALSE(list.allCompleted());
}

TEST_F(JobListModelTest, IsCompletedWhenEveryJobIs) {
    append(2);
    list.setState(0, State::Completed);
    EXPECT_FALSE(list.allCompleted());
    list.setState(1, State::Completed);
    EXPECT_TRUE(list.allCompleted());
}

TEST_F(JobListModelTest, IsCompletedWhenTheOnlyOtherJobIsRemoved) {
    append(2);
    list.setState(0, State::Completed);
    list.remove(idAt(1));
    EXPECT_TRUE(list.allCompleted());
}

TEST_F(JobListModelTest, IsNoLongerCompletedWithAnotherJob) {
    append(1);
    list.setState(0, State::Completed);
    append(1);
    EXPECT_FALSE(list.allCompleted());
}

TEST_F(JobListModelTest, KnowsThatAJobFailed) {
    append(2);
    EXPECT_FALSE(list.anyFailed());
    list.setState(0, State::Failed);
    EXPECT_TRUE(list.anyFailed());
    list.remove(idAt(0));
    EXPECT_FALSE(list.anyFailed());
}

} // namespace
} // namespace Bleedwise
