#include "ContentView/ContentView.h"

#include "support/ViewFixture.h"

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QVariant>

void qml_register_types_Bleedwise();

namespace Bleedwise {
namespace {

using Field = DimensionField::Value;
using Mode = ConversionMode::Value;
using State = ConversionJob::State;
using std::filesystem::path;
using Names = std::vector<std::string>;

const QString alreadyListed = "Those PDFs are already in the list.";

/// A job's width, height and bleed.
std::string sizes(const ConversionJob& job) {
    return (job.widthMM + " x " + job.heightMM + " + " + job.bleedMM).toStdString();
}

// MARK: Making a job

class ContentViewMakeJob : public Testing::ViewFixture {};

TEST_F(ContentViewMakeJob, TakesTheSizeFromTheNameWhateverThePageMeasures) {
    EXPECT_EQ(sizes(view->makeJob(pdf("poster 210x297mm+3.pdf", 100, 100))), "210 x 297 + 3");
}

TEST_F(ContentViewMakeJob, ReadsTheNameWithoutItsExtension) {
    EXPECT_EQ(sizes(view->makeJob(pdf("210x.297pdf", 100, 100))), "94 x 94 + 3");
}

TEST_F(ContentViewMakeJob, KeepsTheDefaultBleedForANameWithoutOne) {
    for (const char* bleed : {"5", "4,5", "abc", ""}) {
        view->setBleedBinding(bleed);
        EXPECT_EQ(sizes(view->makeJob(pdf("a 85,5x55.pdf"))), std::string("85.5 x 55 + ") + bleed);
    }
}

TEST_F(ContentViewMakeJob, TakesTheBleedOffThePage) {
    EXPECT_EQ(sizes(view->makeJob(pdf("a.pdf", 216, 303))), "210 x 297 + 3");
}

TEST_F(ContentViewMakeJob, TakesNothingOffAPageWithoutBleed) {
    view->setSourceIncludesBleed(false);
    EXPECT_EQ(sizes(view->makeJob(pdf("a.pdf", 216, 303))), "216 x 303 + 3");
}

TEST_F(ContentViewMakeJob, ReadsADefaultBleedWithAComma) {
    view->setBleedBinding("3,0");
    EXPECT_EQ(sizes(view->makeJob(pdf("a.pdf", 216, 303))), "210 x 297 + 3,0");
}

TEST_F(ContentViewMakeJob, TakesNothingOffForADefaultBleedThatIsNoNumber) {
    for (const char* bleed : {"abc", "", "inf", "nan"}) {
        view->setBleedBinding(bleed);
        EXPECT_EQ(sizes(view->makeJob(pdf("a.pdf", 216, 303))),
                  std::string("216 x 303 + ") + bleed);
    }
}

TEST_F(ContentViewMakeJob, NeverGivesANegativeSize) {
    EXPECT_EQ(sizes(view->makeJob(pdf("a.pdf", 5, 303))), "0 x 297 + 3");
    EXPECT_EQ(sizes(view->makeJob(pdf("b.pdf", 216, 5))), "210 x 0 + 3");
}

TEST_F(ContentViewMakeJob, TakesTheDefaultsWhereNothingSaysASize) {
    view->setWidthBinding("148");
    view->setHeightBinding("abc");
    view->setBleedBinding("2");
    EXPECT_EQ(sizes(view->makeJob(folder.file("a.pdf", "no PDF"))), "148 x abc + 2");
    EXPECT_EQ(sizes(view->makeJob(folder / "missing.pdf")), "148 x abc + 2");
}

TEST_F(ContentViewMakeJob, TakesTheDefaultsOfAFreshUser) {
    EXPECT_EQ(sizes(view->makeJob(folder / "missing.pdf")), "105 x 297 + 3");
}

TEST_F(ContentViewMakeJob, TakesThePageWhereTheNameSaysASizeBeyondAllNames) {
    for (const char* name : {"99999999999999999999x10.pdf", "10x99999999999999999999.pdf"})
        EXPECT_EQ(sizes(view->makeJob(pdf(name, 216, 303))), "210 x 297 + 3") << name;
}

TEST_F(ContentViewMakeJob, KeepsTheDefaultBleedWhereTheNameSaysOneBeyondAllNames) {
    EXPECT_EQ(sizes(view->makeJob(pdf("10x20+99999999999999999999.pdf"))), "10 x 20 + 3");
}

TEST_F(ContentViewMakeJob, TakesTheDefaultsForAPageBeyondAllNames) {
    EXPECT_EQ(sizes(view->makeJob(pdf("a.pdf", 1e30, 1e30))), "105 x 297 + 3");
}

TEST_F(ContentViewMakeJob, BeginsUnedited) {
    const ConversionJob job = view->makeJob(pdf("a 10x20+1.pdf"));
    EXPECT_EQ(job.originalWidthMM, "10");
    EXPECT_EQ(job.originalHeightMM, "20");
    EXPECT_EQ(job.originalBleedMM, "1");
    EXPECT_EQ(job.state, State::Pending);
}

TEST_F(ContentViewMakeJob, KeepsThePathAsItIs) {
    EXPECT_EQ(view->makeJob("/dir/./a.pdf").inputURL.native(), "/dir/./a.pdf");
}

// MARK: Adding files

class ContentViewAddPDFs : public Testing::ViewFixture {
protected:
    void add(const Names& paths) { view->addPDFs(std::vector<path>(paths.begin(), paths.end())); }
};

TEST_F(ContentViewAddPDFs, KeepsPDFsOnlySortsThemAndSelectsTheFirst) {
    add({"/dir/B.PDF", "/dir/a.pdf", "/dir/notes.txt"});
    EXPECT_EQ(names(), (Names{"a.pdf", "B.PDF"}));
    EXPECT_EQ(view->selectedJobIndex(), 0);
    EXPECT_EQ(view->statusMessage(), std::nullopt);
}

TEST_F(ContentViewAddPDFs, TellsAPDFByItsExtensionInAnyCase) {
    add({"/1.pdf", "/2.PDF", "/3.Pdf", "/pdf", "/4", "/5.pdf.txt", "/6.pdfx", "/.pdf", "/7."});
    EXPECT_EQ(names(), (Names{"1.pdf", "2.PDF", "3.Pdf"}));
}

TEST_F(ContentViewAddPDFs, SortsRunsOfDigitsByValue) {
    add({"/page 10.pdf", "/Page 2.pdf", "/page 1.pdf", "/page 02b.pdf"});
    EXPECT_EQ(names(), (Names{"page 1.pdf", "Page 2.pdf", "page 02b.pdf", "page 10.pdf"}));
}

TEST_F(ContentViewAddPDFs, SortsByNameAndNotByFolder) {
    add({"/a/2.pdf", "/b/1.pdf"});
    EXPECT_EQ(names(), (Names{"1.pdf", "2.pdf"}));
}

TEST_F(ContentViewAddPDFs, KeepsTheOrderOfFilesWithTheSameName) {
    add({"/b/x.pdf", "/a/X.pdf", "/c/x.pdf"});
    EXPECT_EQ(job(0).inputURL, "/b/x.pdf");
    EXPECT_EQ(job(1).inputURL, "/a/X.pdf");
    EXPECT_EQ(job(2).inputURL, "/c/x.pdf");
}

TEST_F(ContentViewAddPDFs, SortsAccentedLettersBesideTheirLetters) {
    add({"/zebra.pdf", "/\u00e4pfel.pdf", "/birnen.pdf"});
    EXPECT_EQ(names(), (Names{"\u00e4pfel.pdf", "birnen.pdf", "zebra.pdf"}));
}

TEST_F(ContentViewAddPDFs, SkipsAFileThatIsListedAndSaysSo) {
    add({"/dir/a.pdf"});
    const QUuid selected = view->selectedJobID();
    add({"/dir/a.pdf"});
    EXPECT_EQ(names(), (Names{"a.pdf"}));
    EXPECT_EQ(view->selectedJobID(), selected);
    EXPECT_EQ(view->statusMessage(), alreadyListed);
}

TEST_F(ContentViewAddPDFs, SkipsAListedFileUnderAnEquivalentPath) {
    add({"/dir/a.pdf"});
    add({"/dir/./a.pdf"});
    add({"/dir/b/../a.pdf"});
    EXPECT_EQ(names(), (Names{"a.pdf"}));
    EXPECT_EQ(view->statusMessage(), alreadyListed);
}

TEST_F(ContentViewAddPDFs, TakesAFileTwiceThatIsNamedTwiceInOneCall) {
    add({"/dir/a.pdf", "/dir/./a.pdf"});
    EXPECT_EQ(names(), (Names{"a.pdf", "a.pdf"}));
}

TEST_F(ContentViewAddPDFs, TakesAFileAgainThatWasRemoved) {
    add({"/dir/a.pdf"});
    view->removeJob(job(0).id);
    add({"/dir/a.pdf"});
    EXPECT_EQ(names(), (Names{"a.pdf"}));
}

TEST_F(ContentViewAddPDFs, SaysTheSameForFilesThatAreNoPDFs) {
    add({"/notes.txt"});
    EXPECT_EQ(view->statusMessage(), alreadyListed);
}

TEST_F(ContentViewAddPDFs, SaysTheSameForNoFilesAtAll) {
    add({});
    EXPECT_EQ(view->statusMessage(), alreadyListed);
}

TEST_F(ContentViewAddPDFs, AppendsBehindTheListedJobsAndSelectsTheFirstNewOne) {
    add({"/m.pdf"});
    add({"/z.pdf", "/a.pdf", "/m.pdf"});
    EXPECT_EQ(names(), (Names{"m.pdf", "a.pdf", "z.pdf"}));
    EXPECT_EQ(view->selectedJobIndex(), 1);
}

TEST_F(ContentViewAddPDFs, ClearsTheStatusMessage) {
    add({"/notes.txt"});
    add({"/a.pdf"});
    EXPECT_EQ(view->statusMessage(), std::nullopt);
}

TEST_F(ContentViewAddPDFs, TakesTheURLsOfAFileDialog) {
    view->addPDFs(QList<QUrl>{QUrl("file:///b%20c.pdf"), QUrl("file:///a.pdf"),
                              QUrl("http://host/remote.pdf")});
    EXPECT_EQ(names(), (Names{"a.pdf", "b c.pdf"}));
}

TEST_F(ContentViewAddPDFs, KeepsNamesThatAreNotUTF8) {
    view->addPDFs(QList<QUrl>{QUrl::fromEncoded("file:///a%FF.pdf")});
    EXPECT_EQ(job(0).inputURL.native(), "/a\xff.pdf");
}

TEST_F(ContentViewAddPDFs, ReadsThePagesOfDamagedFilesAsFarAsTheyGo) {
    add({folder.file("empty.pdf", ""), folder.file("junk.pdf", "%PDF-1.4\njunk"),
         pdf("whole.pdf", 216, 303)});
    EXPECT_EQ(sizes(job(0)), "105 x 297 + 3");
    EXPECT_EQ(sizes(job(1)), "105 x 297 + 3");
    EXPECT_EQ(sizes(job(2)), "210 x 297 + 3");
}

// MARK: Dropping

class ContentViewHandleDrop : public Testing::ViewFixture {
protected:
    /// Drops files of the fixture's folder and waits until they are taken.
    bool drop(const Names& fileNames) {
        QVariantList items;
        for (const std::string& name : fileNames)
            items.append(QUrl(QString::fromStdString("file:///dir/" + name)));
        const bool accepted = view->handleDrop(items);
        for (std::size_t turn = 0; turn <= fileNames.size(); ++turn)
            loop.runOnce();
        return accepted;
    }
};

TEST_F(ContentViewHandleDrop, AddsEachFileForItselfAndSelectsTheLast) {
    EXPECT_TRUE(drop({"b.pdf", "c.pdf", "a.pdf"}));
    EXPECT_EQ(names(), (Names{"b.pdf", "c.pdf", "a.pdf"}));
    EXPECT_EQ(view->selectedJobIndex(), 2);
}

TEST_F(ContentViewHandleDrop, ReturnsBeforeAnythingIsAdded) {
    EXPECT_TRUE(view->handleDrop({QUrl("file:///a.pdf")}));
    EXPECT_EQ(names(), Names());
}

TEST_F(ContentViewHandleDrop, AddsAFileWithItsExtensionInCapitals) {
    drop({"a.PDF"});
    EXPECT_EQ(names(), (Names{"a.PDF"}));
}

TEST_F(ContentViewHandleDrop, PassesOverOtherFilesWithoutAWord) {
    EXPECT_TRUE(drop({"notes.txt"}));
    EXPECT_EQ(names(), Names());
    EXPECT_EQ(view->statusMessage(), std::nullopt);
}

TEST_F(ContentViewHandleDrop, PassesOverAFolder) {
    EXPECT_TRUE(drop({"folder"}));
    EXPECT_EQ(names(), Names());
}

TEST_F(ContentViewHandleDrop, SaysThatAFileIsListed) {
    drop({"a.pdf"});
    drop({"a.pdf"});
    EXPECT_EQ(names(), (Names{"a.pdf"}));
    EXPECT_EQ(view->statusMessage(), alreadyListed);
}

TEST_F(ContentViewHandleDrop, TakesAFileOnceThatIsDroppedTwiceAtOnce) {
    drop({"a.pdf", "a.pdf"});
    EXPECT_EQ(names(), (Names{"a.pdf"}));
}

TEST_F(ContentViewHandleDrop, RefusesADropWithoutFiles) {
    EXPECT_FALSE(view->handleDrop({}));
    EXPECT_FALSE(view->handleDrop({QUrl("http://host/a.pdf"), QString("file:///a.pdf")}));
    EXPECT_EQ(view->statusMessage(), std::nullopt);
}

TEST_F(ContentViewHandleDrop, KeepsNamesThatAreNotUTF8) {
    view->handleDrop({QUrl::fromEncoded("file:///a%FF.pdf")});
    loop.runOnce();
    EXPECT_EQ(job(0).inputURL.native(), "/a\xff.pdf");
}

TEST_F(ContentViewHandleDrop, ForgetsFilesThatWereNotTakenWhenTheViewIsDestroyed) {
    int additions = 0;
    QObject::connect(view.get(), &ContentView::jobCountChanged, [&] { ++additions; });
    view->handleDrop({QUrl("file:///a.pdf"), QUrl("file:///b.pdf")});
    view.reset();
    loop.runOnce();
    EXPECT_EQ(additions, 0);
}

// MARK: Selecting and removing

class ContentViewSelection : public Testing::ViewFixture {
protected:
    ContentViewSelection() { view->addPDFs(std::vector<path>{"/a.pdf", "/b.pdf", "/c.pdf"}); }
};

TEST_F(ContentViewSelection, MovesToTheFirstJobWhenTheSelectedOneIsRemoved) {
    view->selectJob(job(1).id);
    view->removeJob(job(1).id);
    EXPECT_EQ(names(), (Names{"a.pdf", "c.pdf"}));
    EXPECT_EQ(view->selectedJobIndex(), 0);
}

TEST_F(ContentViewSelection, MovesToTheNewFirstJobWhenTheFirstIsRemoved) {
    view->removeJob(job(0).id);
    EXPECT_EQ(view->selectedJobID(), job(0).id);
    EXPECT_EQ(job(0).fileName(), "b.pdf");
}

TEST_F(ContentViewSelection, StaysWhenAnotherJobIsRemoved) {
    view->selectJob(job(2).id);
    view->removeJob(job(0).id);
    EXPECT_EQ(job(view->selectedJobIndex().value()).fileName(), "c.pdf");
}

TEST_F(ContentViewSelection, IsEmptyAfterTheLastJobIsRemoved) {
    while (view->jobCount() > 0)
        view->removeJob(job(0).id);
    EXPECT_TRUE(view->selectedJobID().isNull());
    EXPECT_EQ(view->selectedJobIndex(), std::nullopt);
}

TEST_F(ContentViewSelection, StaysEmptyWhenAJobIsRemoved) {
    view->setSelectedJobID(QUuid());
    view->removeJob(job(0).id);
    EXPECT_TRUE(view->selectedJobID().isNull());
}

TEST_F(ContentViewSelection, StaysWhenAnUnknownJobIsRemoved) {
    view->removeJob(QUuid::createUuid());
    view->removeJob(QUuid());
    EXPECT_EQ(view->jobCount(), 3);
    EXPECT_EQ(view->selectedJobIndex(), 0);
}

TEST_F(ContentViewSelection, FollowsAClickWhichClearsTheStatusMessage) {
    view->addPDFs(std::vector<path>());
    view->selectJob(job(2).id);
    EXPECT_EQ(view->selectedJobIndex(), 2);
    EXPECT_EQ(view->statusMessage(), std::nullopt);
}

TEST_F(ContentViewSelection, HidesTheDividersBesideIt) {
    view->selectJob(job(1).id);
    EXPECT_FALSE(view->shouldShowDivider(0));
    EXPECT_FALSE(view->shouldShowDivider(1));
    view->selectJob(job(2).id);
    EXPECT_TRUE(view->shouldShowDivider(0));
    EXPECT_FALSE(view->shouldShowDivider(2));
}

TEST_F(ContentViewSelection, MovesWithTheKeysWithinTheList) {
    view->selectNextJob();
    EXPECT_EQ(view->selectedJobIndex(), 1);
    view->selectNextJob();
    view->selectNextJob();
    EXPECT_EQ(view->selectedJobIndex(), 2);
    view->selectPreviousJob();
    view->selectPreviousJob();
    view->selectPreviousJob();
    EXPECT_EQ(view->selectedJobIndex(), 0);
}

TEST_F(ContentViewSelection, BeginsWithTheFirstJobForTheKeyDown) {
    view->setSelectedJobID(QUuid());
    view->selectPreviousJob();
    EXPECT_EQ(view->selectedJobIndex(), std::nullopt);
    view->selectNextJob();
    EXPECT_EQ(view->selectedJobIndex(), 0);
}

TEST_F(ContentViewSelection, IsRemovedByAKey) {
    view->selectJob(job(1).id);
    view->removeSelectedJob();
    EXPECT_EQ(names(), (Names{"a.pdf", "c.pdf"}));
}

TEST_F(ContentViewSelection, OfNothingIsNotRemovedByAKey) {
    view->setSelectedJobID(QUuid());
    view->removeSelectedJob();
    EXPECT_EQ(view->jobCount(), 3);
}

// MARK: Size fields

struct Binding {
    const char* name;
    Field field;
    QString (ContentView::*read)() const;
    void (ContentView::*write)(const QString&);
    QString (ContentView::*defaultText)() const;
    void (ContentView::*changed)();
    const char* initial;
};

class ContentViewBinding : public Testing::ViewFixture,
                           public testing::WithParamInterface<Binding> {
protected:
    ContentViewBinding() {
        QObject::connect(view.get(), GetParam().changed, [this] { ++announcements; });
    }

    /// Adds a job of 210 × 297 mm with 4 mm bleed, which is selected then.
    void addJob() { view->addPDFs(std::vector<path>{"/a 210x297+4.pdf"}); }

    /// As if a batch had left the selected job with this result.
    void setResult(State state) {
        view->jobs()->setState(0, state);
        view->jobs()->setOutputURL(0, path("/out.pdf"));
        view->jobs()->setErrorMessage(0, "No.");
    }

    QString read() const { return (*view.*GetParam().read)(); }
    void write(const QString& text) { (*view.*GetParam().write)(text); }
    QString defaultText() const { return (*view.*GetParam().defaultText)(); }
    const QString& ofJob() { return job(0).current(GetParam().field); }

    int announcements = 0;
};

INSTANTIATE_TEST_SUITE_P(
    Fields, ContentViewBinding,
    testing::Values(Binding{"Width", Field::Width, &ContentView::widthBinding,
                            &ContentView::setWidthBinding, &ContentView::defaultWidthMM,
                            &ContentView::widthBindingChanged, "105"},
                    Binding{"Height", Field::Height, &ContentView::heightBinding,
                            &ContentView::setHeightBinding, &ContentView::defaultHeightMM,
                            &ContentView::heightBindingChanged, "297"},
                    Binding{"Bleed", Field::Bleed, &ContentView::bleedBinding,
                            &ContentView::setBleedBinding, &ContentView::defaultBleedMM,
                            &ContentView::bleedBindingChanged, "3"}),
    [](const auto& tested) { return tested.param.name; });

TEST_P(ContentViewBinding, ReadsTheDefaultWithoutASelection) {
    EXPECT_EQ(read(), GetParam().initial);
}

TEST_P(ContentViewBinding, ReadsTheSelectedJob) {
    addJob();
    EXPECT_EQ(read(), ofJob());
}

TEST_P(ContentViewBinding, WritesOnlyTheDefaultWithoutASelection) {
    addJob();
    view->setSelectedJobID(QUuid());
    const QString before = ofJob();
    setResult(State::Completed);
    write("100");
    EXPECT_EQ(defaultText(), "100");
    EXPECT_EQ(read(), "100");
    EXPECT_EQ(ofJob(), before);
    EXPECT_EQ(job(0).state, State::Completed);
}

TEST_P(ContentViewBinding, WritesTheSelectedJobAndTheDefault) {
    addJob();
    write("100");
    EXPECT_EQ(ofJob(), "100");
    EXPECT_EQ(defaultText(), "100");
    EXPECT_EQ(read(), "100");
}

TEST_P(ContentViewBinding, LeavesTheOtherFieldsAlone) {
    addJob();
    write("100");
    int written = 0;
    for (const Field field : {Field::Width, Field::Height, Field::Bleed})
        written += job(0).current(field) == "100" ? 1 : 0;
    EXPECT_EQ(written, 1);
}

TEST_P(ContentViewBinding, KeepsWhatTheJobBeganWith) {
    addJob();
    write("100");
    EXPECT_EQ(job(0).originalWidthMM, "210");
    EXPECT_EQ(job(0).originalHeightMM, "297");
    EXPECT_EQ(job(0).originalBleedMM, "4");
}

TEST_P(ContentViewBinding, MakesAFinishedJobPendingAgain) {
    for (const State state : {State::Completed, State::Failed}) {
        view = makeView();
        addJob();
        setResult(state);
        write("100");
        EXPECT_EQ(job(0).state, State::Pending);
        EXPECT_EQ(job(0).outputURL, std::nullopt);
        EXPECT_EQ(job(0).errorMessage, std::nullopt);
    }
}

TEST_P(ContentViewBinding, ClearsTheStatusMessageWithASelectedJob) {
    addJob();
    addJob();
    ASSERT_NE(view->statusMessage(), std::nullopt);
    write("100");
    EXPECT_EQ(view->statusMessage(), std::nullopt);
}

TEST_P(ContentViewBinding, KeepsTheStatusMessageWithoutASelectedJob) {
    view->addPDFs(std::vector<path>());
    write("100");
    EXPECT_EQ(view->statusMessage(), alreadyListed);
}

TEST_P(ContentViewBinding, KeepsTextsExactlyAsTyped) {
    addJob();
    for (const char* text : {"1,50 ", "abc", "", " 3", "\u00bd \"mm\"; a=b"}) {
        write(text);
        EXPECT_EQ(ofJob(), text);
        EXPECT_EQ(defaultText(), text);
    }
}

TEST_P(ContentViewBinding, OutlivesTheProgram) {
    write("100");
    view = makeView();
    EXPECT_EQ(read(), "100");
}

TEST_P(ContentViewBinding, AnnouncesANewText) {
    write("100");
    EXPECT_EQ(announcements, 1);
    addJob();
    announcements = 0;
    write("101");
    EXPECT_EQ(announcements, 1);
}

TEST_P(ContentViewBinding, AnnouncesAnotherSelection) {
    addJob();
    announcements = 0;
    view->setSelectedJobID(QUuid());
    EXPECT_GE(announcements, 1);
}

TEST_P(ContentViewBinding, DoesNotAnnounceTheSameText) {
    write(read());
    EXPECT_EQ(announcements, 0);
}

TEST_P(ContentViewBinding, DoesNotAnnounceAnotherFieldsText) {
    for (const Field field : {Field::Width, Field::Height, Field::Bleed}) {
        if (field == GetParam().field)
            continue;
        addJob();
        announcements = 0;
        view->updateSelectedJob(field, "100");
    }
    EXPECT_EQ(announcements, 0);
}

class ContentViewUpdateSelectedJob : public Testing::ViewFixture {};

TEST_F(ContentViewUpdateSelectedJob, DoesNothingWithoutASelection) {
    view->addPDFs(std::vector<path>());
    view->updateSelectedJob(Field::Width, "100");
    EXPECT_EQ(view->statusMessage(), alreadyListed);
    EXPECT_EQ(view->defaultWidthMM(), "105");
}

TEST_F(ContentViewUpdateSelectedJob, WritesStepByStepInOrder) {
    view->addPDFs(std::vector<path>{"/a.pdf"});
    view->jobs()->setState(0, State::Failed);
    view->jobs()->setOutputURL(0, path("/out.pdf"));
    view->jobs()->setErrorMessage(0, "No.");
    view->addPDFs(std::vector<path>());
    Names steps;
    QObject::connect(view->jobs(), &JobListModel::dataChanged,
                     [&](const QModelIndex&, const QModelIndex&, const QList<int>& roles) {
                         steps.push_back(
                             view->jobs()->roleNames().value(roles.front()).toStdString());
                     });
    QObject::connect(view.get(), &ContentView::statusMessageChanged,
                     [&] { steps.push_back("statusMessage"); });
    view->updateSelectedJob(Field::Width, "100");
    EXPECT_EQ(steps, (Names{"widthMM", "state", "outputURL", "errorMessage", "statusMessage"}));
}

TEST_F(ContentViewUpdateSelectedJob, ResetsNoModel) {
    view->addPDFs(std::vector<path>{"/a.pdf", "/b.pdf"});
    int resets = 0;
    QObject::connect(view->jobs(), &JobListModel::modelReset, [&] { ++resets; });
    QObject::connect(view->jobs(), &JobListModel::layoutChanged, [&] { ++resets; });
    view->updateSelectedJob(Field::Width, "100");
    EXPECT_EQ(resets, 0);
}

// MARK: Options

class ContentViewOptions : public Testing::ViewFixture {};

TEST_F(ContentViewOptions, OfAFreshUser) {
    EXPECT_TRUE(view->sourceIncludesBleed());
    EXPECT_FALSE(view->useGhostscript());
    EXPECT_EQ(view->conversionModeBinding(), Mode::Raster);
}

TEST_F(ContentViewOptions, StoreTheModeAsAnUseOfGhostscript) {
    view->setConversionModeBinding(Mode::Native);
    EXPECT_TRUE(view->useGhostscript());
    EXPECT_EQ(view->conversionModeBinding(), Mode::Native);
    view->setConversionModeBinding(Mode::Raster);
    EXPECT_FALSE(view->useGhostscript());
}

TEST_F(ContentViewOptions, NameTheModesInTheirOrder) {
    EXPECT_EQ(view->property("conversionModeNames"), QStringList({"Native", "Raster"}));
}

TEST_F(ContentViewOptions, OutliveTheProgram) {
    view->setSourceIncludesBleed(false);
    view->setUseGhostscript(true);
    view = makeView();
    EXPECT_FALSE(view->sourceIncludesBleed());
    EXPECT_TRUE(view->useGhostscript());
}

TEST_F(ContentViewOptions, AnnounceChangesOnly) {
    int announcements = 0;
    QObject::connect(view.get(), &ContentView::sourceIncludesBleedChanged,
                     [&] { ++announcements; });
    QObject::connect(view.get(), &ContentView::useGhostscriptChanged, [&] { ++announcements; });
    view->setSourceIncludesBleed(true);
    view->setUseGhostscript(false);
    EXPECT_EQ(announcements, 0);
    view->setSourceIncludesBleed(false);
    view->setUseGhostscript(true);
    EXPECT_EQ(announcements, 2);
}

// MARK: The window

class ContentViewWindow : public Testing::ViewFixture {};

TEST_F(ContentViewWindow, LooksForGhostscriptWhenItAppears) {
    ghostscript = Ghostscript::Installation{"/opt/gs"};
    EXPECT_EQ(view->ghostscriptPath(), std::nullopt);
    view->appeared();
    EXPECT_EQ(view->ghostscriptPath(), path("/opt/gs"));
}

TEST_F(ContentViewWindow, HasNoGhostscriptPathWhereThereIsNone) {
    view->appeared();
    EXPECT_EQ(view->ghostscriptPath(), std::nullopt);
    EXPECT_EQ(view->property("ghostscriptPath"), QString());
}

TEST_F(ContentViewWindow, TakesTheFocusFromTheFieldsOnTheNextTurn) {
    view->appeared();
    view->setFocusedField(Field::Width);
    loop.runOnce();
    EXPECT_EQ(view->focusedField(), std::nullopt);
}

TEST_F(ContentViewWindow, NumbersTheFocusedFieldForQML) {
    EXPECT_EQ(view->property("focusedField"), ContentView::noField);
    view->setProperty("focusedField", static_cast<int>(Field::Bleed));
    EXPECT_EQ(view->focusedField(), Field::Bleed);
    view->setProperty("focusedField", ContentView::noField);
    EXPECT_EQ(view->focusedField(), std::nullopt);
}

TEST_F(ContentViewWindow, CannotConvertAnEmptyList) {
    EXPECT_FALSE(view->canConvert());
}

TEST_F(ContentViewWindow, CanConvertInRasterModeWithoutGhostscript) {
    view->addPDFs(std::vector<path>{"/a.pdf"});
    view->appeared();
    EXPECT_TRUE(view->canConvert());
}

TEST_F(ContentViewWindow, CanConvertInNativeModeOnlyWithGhostscript) {
    view->addPDFs(std::vector<path>{"/a.pdf"});
    view->setUseGhostscript(true);
    view->appeared();
    EXPECT_FALSE(view->canConvert());
    ghostscript = Ghostscript::Installation{"/opt/gs"};
    view->appeared();
    EXPECT_TRUE(view->canConvert());
}

TEST_F(ContentViewWindow, AnnouncesWhenItCanConvert) {
    bool announced = false;
    QObject::connect(view.get(), &ContentView::canConvertChanged,
                     [&] { announced = view->canConvert(); });
    view->addPDFs(std::vector<path>{"/a.pdf"});
    EXPECT_TRUE(announced);
    view->setUseGhostscript(true);
    EXPECT_FALSE(announced);
}

TEST_F(ContentViewWindow, MayCloseWhileNoBatchRuns) {
    EXPECT_TRUE(view->requestClose());
    EXPECT_FALSE(view->showingStopQuestion());
}

TEST_F(ContentViewWindow, IsKnownToQML) {
    qml_register_types_Bleedwise();
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(R"(
        import QtQml
        import Bleedwise
        QtObject {
            id: root
            property ContentView view: ContentView {}
            property Instantiator rows: Instantiator {
                model: root.view.jobs
                delegate: QtObject {
                    required property var jobID
                    required property int state
                    required property string widthMM
                    required property bool isSelected
                }
            }
            property list<string> seen
            function see(what: string) { seen.push(what) }
            Component.onCompleted: {
                view.addPDFs(["file:///b.pdf", "file:///a.pdf"])
                see("rows " + rows.count)
                see("pending " + (rows.objectAt(0).state === ConversionJob.Pending))
                view.selectJob(rows.objectAt(1).jobID)
                see("selected " + rows.objectAt(1).isSelected)
                view.widthBinding = "77"
                see("width " + rows.objectAt(1).widthMM)
                view.conversionModeBinding = ConversionMode.Native
                see("native " + view.useGhostscript)
                view.focusedField = DimensionField.Height
                see("field " + view.focusedField)
                view.removeJob(rows.objectAt(1).jobID)
                see("left " + view.jobCount)
            }
        })",
                      QUrl());
    const std::unique_ptr<QObject> root(component.create());
    ASSERT_TRUE(root) << component.errorString().toStdString();
    EXPECT_EQ(root->property("seen").toStringList(),
              (QStringList{"rows 2", "pending true", "selected true", "width 77", "native true",
                           "field 1", "left 1"}));
}

// MARK: Threads

class ContentViewThreadDeathTest : public Testing::ViewFixture {
protected:
    ContentViewThreadDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(ContentViewThreadDeathTest, EndsTheProcessOnACallFromAnotherThread) {
    const std::pair<const char*, std::function<void()>> calls[] = {
        {"selectedJobIndex", [this] { view->selectedJobIndex(); }},
        {"shouldShowDivider", [this] { view->shouldShowDivider(0); }},
        {"selectPreviousJob", [this] { view->selectPreviousJob(); }},
        {"selectNextJob", [this] { view->selectNextJob(); }},
        {"removeSelectedJob", [this] { view->removeSelectedJob(); }},
        {"defaultText", [this] { view->defaultWidthMM(); }},
        {"binding", [this] { view->heightBinding(); }},
        {"sourceIncludesBleed", [this] { view->sourceIncludesBleed(); }},
        {"useGhostscript", [this] { view->useGhostscript(); }},
        {"conversionModeBinding", [this] { view->conversionModeBinding(); }},
        {"setConversionModeBinding",
         [this] { view->setConversionModeBinding(ConversionMode::Value::Native); }},
        {"setFocusedField", [this] { view->setFocusedField(std::nullopt); }},
        {"revealOutput", [this] { view->revealOutput(QUuid()); }},
        {"convert", [this] { view->convert(); }},
        {"continueBatch", [this] { view->continueBatch(); }},
        {"stopBatchAndClose", [this] { view->stopBatchAndClose(); }},
        {"makeJob", [this] { view->makeJob("/a.pdf"); }},
        {"addPDFs", [this] { view->addPDFs(std::vector<path>{"/a.pdf"}); }},
        {"handleDrop", [this] { view->handleDrop({}); }},
        {"removeJob", [this] { view->removeJob(QUuid()); }},
        {"selectJob", [this] { view->selectJob(QUuid()); }},
        {"updateSelectedJob", [this] { view->updateSelectedJob(Field::Width, "1"); }},
        {"setBinding", [this] { view->setWidthBinding("1"); }},
        {"setUseGhostscript", [this] { view->setUseGhostscript(true); }},
        {"setSourceIncludesBleed", [this] { view->setSourceIncludesBleed(true); }},
        {"setSelectedJobID", [this] { view->setSelectedJobID(QUuid()); }},
        {"appeared", [this] { view->appeared(); }},
        {"printSettings", [this] { view->printSettings(ConversionJob()); }},
        {"convertAll", [this] { view->convertAll(); }},
        {"convertOne", [this] { view->convertOne("/a.pdf", "/p.icc", std::nullopt, {}); }},
        {"stopBatch", [this] { view->stopBatch(); }},
        {"requestClose", [this] { view->requestClose(); }},
    };
    for (const auto& [name, call] : calls)
        EXPECT_DEATH(std::thread(call).join(),
                     std::string("ContentView::") + name + " was called outside the main thread");
}

} // namespace
} // namespace Bleedwise
