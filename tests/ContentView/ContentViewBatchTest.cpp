#include "ContentView/ContentView.h"

#include "PrintPrep/platform/OperationStopped.h"
#include "support/Command.h"
#include "support/FakeGhostscript.h"
#include "support/Lifeline.h"
#include "support/TestPDF.h"
#include "support/ViewFixture.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Bleedwise {
namespace {

using State = ConversionJob::State;
using std::filesystem::exists;
using std::filesystem::path;
using Testing::contents;
using Testing::FakeGhostscript;
using Testing::Lifeline;
using Testing::outputOf;
using Testing::TestPDF;
using Lines = std::vector<std::string>;
using Texts = std::vector<std::string>;

const char* const invalidSizes = "Width, height, and bleed must be valid numbers.";
const char* const rasterLine = "Skipped Ghostscript. Flattened to FOGRA39 CMYK bitmap.";

class ContentViewBatch : public Testing::ViewFixture {
protected:
    /// Queues files without a change of their order, the sizes small enough to be drawn quickly.
    void queue(const std::vector<path>& inputURLs) {
        for (const path& url : inputURLs) {
            view->addPDFs(std::vector{url});
            setSizes("10", "15", "1");
        }
    }

    /// Of the selected job, which is the one that was queued last.
    void setSizes(const char* width, const char* height, const char* bleed) {
        view->setWidthBinding(width);
        view->setHeightBinding(height);
        view->setBleedBinding(bleed);
    }

    void useGhostscript(const path& url) {
        ghostscript = Ghostscript::Installation{url};
        view->setUseGhostscript(true);
    }

    bool batchEnds() {
        return loop.runUntil([this] { return !view->isConverting(); });
    }

    /// A whole batch.
    void run() {
        view->convertAll();
        ASSERT_TRUE(batchEnds());
    }

    Lines log() {
        Lines lines;
        for (const QString& line : view->logLines()->lines())
            lines.push_back(line.toStdString());
        return lines;
    }

    std::string errorOf(int row) { return job(row).errorMessage.value_or("none").toStdString(); }

    std::string statusMessage() { return view->statusMessage().value_or("none").toStdString(); }

    path rasterOutput(const char* name) {
        return folder / (std::string(name) + " (CMYK raster).pdf");
    }
    path nativeOutput(const char* name) {
        return folder / (std::string(name) + "_PRINT_10x15_1mm_FOGRA39_CMYK.pdf");
    }

    int workFileCount() {
        const std::filesystem::directory_iterator entries(temporaryDirectory);
        return static_cast<int>(std::count_if(begin(entries), end(entries), [](const auto& entry) {
            return entry.path().extension() == ".pdf";
        }));
    }
};

int pageCount(const path& pdf) {
    return std::stoi(outputOf({"qpdf", "--show-npages", pdf.native()}));
}

/// A PDF with as many pages, each of which takes a while to draw.
std::string manyPages(int count) {
    TestPDF pdf;
    for (int page = 0; page < count; ++page)
        pdf.page({"1 0 0 1 k 0 0 50 50 re f"});
    return pdf.bytes();
}

// MARK: What a batch does

TEST_F(ContentViewBatch, StartsAndEndsAtOnceWithoutJobs) {
    view->addPDFs(std::vector<path>());
    view->logLines()->append("from before");
    std::vector<bool> announced;
    QObject::connect(view.get(), &ContentView::isConvertingChanged,
                     [&] { announced.push_back(view->isConverting()); });
    view->convertAll();
    EXPECT_EQ(announced, (std::vector<bool>{true, false}));
    EXPECT_EQ(log(), Lines());
    EXPECT_EQ(view->currentJobNumber(), 0);
    EXPECT_EQ(view->statusMessage(), std::nullopt);
}

TEST_F(ContentViewBatch, ConvertsToBitmapsWithoutGhostscript) {
    queue({pdf("a.pdf")});
    run();
    EXPECT_EQ(view->ghostscriptPath(), std::nullopt);
    EXPECT_EQ(job(0).state, State::Completed);
    EXPECT_EQ(job(0).outputURL, rasterOutput("a"));
    EXPECT_EQ(errorOf(0), "none");
    EXPECT_EQ(pageCount(rasterOutput("a")), 1);
    EXPECT_EQ(log(), (Lines{"[1/1] a.pdf", rasterLine, "Done: " + rasterOutput("a").native()}));
}

TEST_F(ContentViewBatch, ConvertsWithThisMachinesGhostscript) {
    queue({pdf("a.pdf")});
    useGhostscript(Ghostscript::find().value().url);
    run();
    EXPECT_EQ(job(0).state, State::Completed) << errorOf(0);
    EXPECT_EQ(pageCount(nativeOutput("a")), 1);
    const Lines lines = log();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines.front(), "[1/1] a.pdf");
    EXPECT_EQ(lines.back(), "Done: " + nativeOutput("a").native());
}

TEST_F(ContentViewBatch, LogsWhatGhostscriptSays) {
    queue({pdf("a.pdf")});
    const FakeGhostscript fake("echo one; echo; echo two >&2");
    useGhostscript(fake.url());
    run();
    EXPECT_EQ(log(), (Lines{"[1/1] a.pdf", "one", "two", "Done: " + nativeOutput("a").native()}));
}

TEST_F(ContentViewBatch, SaysThatGhostscriptSaidNothing) {
    queue({pdf("a.pdf")});
    const FakeGhostscript fake;
    useGhostscript(fake.url());
    run();
    EXPECT_EQ(log(), (Lines{"[1/1] a.pdf", "Ghostscript finished without messages.",
                            "Done: " + nativeOutput("a").native()}));
}

TEST_F(ContentViewBatch, GoesOnAfterAJobWithABadHeight) {
    queue({pdf("a.pdf"), pdf("b.pdf")});
    setSizes("10", "tall", "1");
    queue({pdf("c.pdf")});
    run();
    EXPECT_EQ(log(), (Lines{"[1/3] a.pdf", rasterLine, "Done: " + rasterOutput("a").native(),
                            "[2/3] ERROR: Invalid dimensions for b.pdf", "[3/3] c.pdf", rasterLine,
                            "Done: " + rasterOutput("c").native()}));
    EXPECT_EQ(job(0).state, State::Completed);
    EXPECT_EQ(job(1).state, State::Failed);
    EXPECT_EQ(errorOf(1), invalidSizes);
    EXPECT_EQ(job(2).state, State::Completed);
    EXPECT_TRUE(view->anyFailed());
    EXPECT_EQ(view->currentJobNumber(), 3);
}

TEST_F(ContentViewBatch, GoesThroughTheStatesOfOneJobAfterTheOther) {
    queue({pdf("a.pdf"), pdf("b.pdf")});
    Texts states;
    const auto note = [&](const QModelIndex& first, const QModelIndex&, const QList<int>& roles) {
        if (roles == QList<int>{JobListModel::StateRole})
            states.push_back(std::to_string(first.row()) + " " +
                             QVariant::fromValue(job(first.row()).state).toString().toStdString());
    };
    QObject::connect(view->jobs(), &JobListModel::dataChanged, note);
    run();
    EXPECT_EQ(states, (Texts{"0 Converting", "0 Completed", "1 Converting", "1 Completed"}));
}

TEST_F(ContentViewBatch, CountsTheJobs) {
    queue({pdf("a.pdf"), pdf("b.pdf"), pdf("c.pdf")});
    std::vector<int> numbers;
    QObject::connect(view.get(), &ContentView::currentJobNumberChanged,
                     [&] { numbers.push_back(view->currentJobNumber()); });
    run();
    EXPECT_EQ(numbers, (std::vector<int>{1, 2, 3}));
    view->convertAll();
    EXPECT_EQ(numbers, (std::vector<int>{1, 2, 3, 0, 1}));
    EXPECT_TRUE(batchEnds());
}

TEST_F(ContentViewBatch, ConvertsAllJobsAgainAndReplacesTheirResults) {
    queue({pdf("a.pdf"), pdf("b.pdf")});
    run();
    folder.file(rasterOutput("a").filename(), "old");
    run();
    EXPECT_TRUE(view->allCompleted());
    EXPECT_EQ(pageCount(rasterOutput("a")), 1);
    EXPECT_EQ(log().front(), "[1/2] a.pdf");
    EXPECT_EQ(log().size(), 6U);
}

TEST_F(ContentViewBatch, BeginsWithEveryJobPending) {
    queue({pdf("a.pdf"), pdf("b.pdf")});
    setSizes("0", "15", "1");
    run();
    ASSERT_EQ(job(1).state, State::Failed);
    view->convertAll();
    EXPECT_EQ(job(0).outputURL, std::nullopt);
    EXPECT_EQ(job(1).state, State::Pending);
    EXPECT_EQ(job(1).errorMessage, std::nullopt);
    EXPECT_TRUE(batchEnds());
}

TEST_F(ContentViewBatch, ConvertsFilesWhoseNamesAreNotUTF8) {
    queue({pdf("a\xff.pdf")});
    run();
    EXPECT_EQ(job(0).state, State::Completed) << errorOf(0);
    EXPECT_TRUE(exists(rasterOutput("a\xff")));
    useGhostscript(Ghostscript::find().value().url);
    run();
    EXPECT_EQ(job(0).state, State::Completed) << errorOf(0);
    EXPECT_TRUE(exists(nativeOutput("a\xff")));
}

TEST_F(ContentViewBatch, LeavesNoWorkFileAfterSuccess) {
    queue({pdf("a.pdf")});
    run();
    EXPECT_EQ(workFileCount(), 0);
}

TEST_F(ContentViewBatch, LooksForGhostscriptAgainAtTheEnd) {
    queue({pdf("a.pdf")});
    view->convertAll();
    ghostscript = Ghostscript::Installation{"/opt/gs"};
    ASSERT_TRUE(batchEnds());
    EXPECT_EQ(view->ghostscriptPath(), path("/opt/gs"));
}

TEST_F(ContentViewBatch, StartsOnceMoreWhenItWasStartedMeanwhile) {
    queue({pdf("a.pdf")});
    int starts = 0;
    QObject::connect(view.get(), &ContentView::isConvertingChanged,
                     [&] { starts += view->isConverting() ? 1 : 0; });
    view->convertAll();
    view->convertAll();
    EXPECT_TRUE(loop.runUntil([&] { return starts == 2 && !view->isConverting(); }));
    EXPECT_EQ(log().size(), 3U);
}

TEST_F(ContentViewBatch, IsStartedByTheButtonOnlyWhenItIsEnabled) {
    view->convert();
    EXPECT_FALSE(view->isConverting());
    queue({pdf("a.pdf")});
    view->logLines()->append("from before");
    view->convert();
    EXPECT_TRUE(view->isConverting());
    EXPECT_FALSE(view->canConvert());
    EXPECT_TRUE(batchEnds());
    EXPECT_TRUE(view->canConvert());
}

TEST_F(ContentViewBatch, LeavesTheSelectionAlone) {
    queue({pdf("a.pdf")});
    view->convertAll();
    const QUuid selected = view->selectedJobID();
    view->addPDFs(std::vector<path>());
    view->setSelectedJobID(QUuid());
    view->selectJob(selected);
    EXPECT_TRUE(view->selectedJobID().isNull());
    EXPECT_NE(view->statusMessage(), std::nullopt);
    EXPECT_TRUE(batchEnds());
}

TEST_F(ContentViewBatch, LeavesTheListToNoKey) {
    queue({pdf("a.pdf"), pdf("b.pdf")});
    view->convertAll();
    view->selectPreviousJob();
    view->removeSelectedJob();
    EXPECT_EQ(view->selectedJobIndex(), 1);
    EXPECT_EQ(view->jobCount(), 2);
    EXPECT_TRUE(batchEnds());
}

TEST_F(ContentViewBatch, RefusesDrops) {
    queue({pdf("a.pdf")});
    view->convertAll();
    EXPECT_FALSE(view->handleDrop({QUrl("file:///b.pdf")}));
    ASSERT_TRUE(batchEnds());
    loop.runOnce();
    EXPECT_EQ(view->jobCount(), 1);
}

TEST_F(ContentViewBatch, IsFollowedByTheDropsThatCameJustBefore) {
    queue({pdf("a.pdf")});
    view->handleDrop({QUrl("file:///b.pdf")});
    view->convertAll();
    ASSERT_TRUE(loop.runUntil([this] { return view->jobCount() == 2; }));
    EXPECT_FALSE(view->isConverting());
    EXPECT_EQ(log().size(), 3U);
}

TEST_F(ContentViewBatch, OutlivesTheRemovalOfItsJob) {
    queue({pdf("a.pdf"), pdf("b.pdf")});
    view->convertAll();
    view->removeJob(job(0).id);
    ASSERT_TRUE(batchEnds());
    EXPECT_EQ(job(0).state, State::Pending);
}

// MARK: Sizes

struct SizeCase {
    const char* width;
    const char* height;
    const char* bleed;
};

void PrintTo(const SizeCase& sizes, std::ostream* stream) {
    *stream << sizes.width << " x " << sizes.height << " + " << sizes.bleed;
}

ConversionJob jobOf(const SizeCase& sizes) {
    ConversionJob job;
    job.widthMM = sizes.width;
    job.heightMM = sizes.height;
    job.bleedMM = sizes.bleed;
    return job;
}

TEST_F(ContentViewBatch, ReadsSizesAsTheyAreTyped) {
    EXPECT_EQ(view->printSettings(jobOf({"148,5", " 210 ", "0"})),
              (PrintSettings{148.5, 210, 0, true, false}));
}

TEST_F(ContentViewBatch, TakesTheSwitchesAsTheyAreNow) {
    view->setSourceIncludesBleed(false);
    view->setUseGhostscript(true);
    EXPECT_EQ(view->printSettings(jobOf({"210", "297", "3"})),
              (PrintSettings{210, 297, 3, false, true}));
}

class ContentViewUnusableSizes : public Testing::ViewFixture,
                                 public testing::WithParamInterface<SizeCase> {};

TEST_P(ContentViewUnusableSizes, GiveNoSettings) {
    for (const bool useGhostscript : {false, true}) {
        view->setUseGhostscript(useGhostscript);
        EXPECT_EQ(view->printSettings(jobOf(GetParam())), std::nullopt);
    }
}

INSTANTIATE_TEST_SUITE_P(NoNumbers, ContentViewUnusableSizes,
                         testing::Values(SizeCase{"", "297", "3"}, SizeCase{"210", "", "3"},
                                         SizeCase{"210", "297", ""}, SizeCase{"abc", "297", "3"},
                                         SizeCase{"210 mm", "297", "3"},
                                         SizeCase{"nan", "297", "3"}, SizeCase{"210", "nan", "3"},
                                         SizeCase{"210", "297", "nan"}));
INSTANTIATE_TEST_SUITE_P(NoPage, ContentViewUnusableSizes,
                         testing::Values(SizeCase{"0", "297", "3"}, SizeCase{"210", "0", "3"},
                                         SizeCase{"-210", "297", "3"}, SizeCase{"210", "-1", "3"},
                                         SizeCase{"210", "297", "-0.1"}));
INSTANTIATE_TEST_SUITE_P(Infinite, ContentViewUnusableSizes,
                         testing::Values(SizeCase{"inf", "297", "3"}, SizeCase{"210", "inf", "3"},
                                         SizeCase{"210", "297", "inf"},
                                         SizeCase{"1e999", "297", "3"}));
INSTANTIATE_TEST_SUITE_P(TooLargeForAName, ContentViewUnusableSizes,
                         testing::Values(SizeCase{"1e19", "1e-9", "0"},
                                         SizeCase{"1e-9", "9223372036854775808", "0"},
                                         SizeCase{"1e-9", "1e-9", "1e300"}));
INSTANTIATE_TEST_SUITE_P(TooLargeForABitmap, ContentViewUnusableSizes,
                         testing::Values(SizeCase{"1e18", "10", "0"}, SizeCase{"1e9", "1e9", "0"},
                                         SizeCase{"10", "10", "1e9"}));

TEST_F(ContentViewBatch, FailsForASizeThatIsInfinite) {
    queue({pdf("a.pdf")});
    setSizes("inf", "15", "1");
    run();
    EXPECT_EQ(errorOf(0), invalidSizes);
    EXPECT_EQ(log(), (Lines{"[1/1] ERROR: Invalid dimensions for a.pdf"}));
}

TEST_F(ContentViewBatch, FailsForAWidthOfZero) {
    queue({pdf("a.pdf")});
    setSizes("0", "15", "1");
    run();
    EXPECT_EQ(errorOf(0), invalidSizes);
}

TEST_F(ContentViewBatch, ConvertsWithoutBleed) {
    queue({pdf("a.pdf")});
    setSizes("10", "15", "0");
    run();
    EXPECT_EQ(job(0).state, State::Completed) << errorOf(0);
}

TEST_F(ContentViewBatch, ConvertsASizeTypedWithAComma) {
    queue({pdf("a.pdf")});
    setSizes("10,5", "15", "1");
    const FakeGhostscript fake;
    useGhostscript(fake.url());
    run();
    EXPECT_TRUE(exists(folder / "a_PRINT_10.5x15_1mm_FOGRA39_CMYK.pdf"));
}

TEST_F(ContentViewBatch, FailsForABitmapThatNoMemoryHolds) {
    queue({pdf("a.pdf")});
    setSizes("1000000", "1000000", "0");
    run();
    EXPECT_EQ(errorOf(0), "Could not create the fallback CMYK raster output.");
}

// MARK: What must be there first

/// What a start that is refused leaves alone.
class ContentViewRefusedBatch : public ContentViewBatch {
protected:
    ContentViewRefusedBatch() {
        queue({pdf("a.pdf")});
        view->convertAll();
        EXPECT_TRUE(batchEnds());
        before = log();
    }

    void expectNothingTouched() {
        EXPECT_FALSE(view->isConverting());
        EXPECT_EQ(job(0).state, State::Completed);
        EXPECT_NE(job(0).outputURL, std::nullopt);
        EXPECT_EQ(view->currentJobNumber(), 1);
        EXPECT_EQ(log(), before);
    }

    Lines before;
};

TEST_F(ContentViewRefusedBatch, NeedsGhostscriptInNativeMode) {
    view->setUseGhostscript(true);
    view->convertAll();
    EXPECT_EQ(statusMessage(), "Ghostscript is not available.");
    expectNothingTouched();
}

TEST_F(ContentViewRefusedBatch, ForgetsTheGhostscriptThatIsGone) {
    ghostscript = Ghostscript::Installation{"/opt/gs"};
    view->appeared();
    ghostscript.reset();
    view->setUseGhostscript(true);
    view->convertAll();
    EXPECT_EQ(view->ghostscriptPath(), std::nullopt);
}

TEST_F(ContentViewRefusedBatch, NeedsTheProfile) {
    profile.reset();
    view->convertAll();
    EXPECT_EQ(statusMessage(), "The FOGRA39 profile could not be found.");
    expectNothingTouched();
}

TEST_F(ContentViewRefusedBatch, LooksForGhostscriptBeforeTheProfile) {
    profile.reset();
    view->setUseGhostscript(true);
    view->convertAll();
    EXPECT_EQ(statusMessage(), "Ghostscript is not available.");
}

TEST_F(ContentViewRefusedBatch, ClearsTheRefusalOnTheNextStart) {
    const std::optional<path> found = std::exchange(profile, std::nullopt);
    view->convertAll();
    profile = found;
    view->convertAll();
    EXPECT_EQ(view->statusMessage(), std::nullopt);
    EXPECT_TRUE(batchEnds());
}

// MARK: Failures

/// A batch of a job that fails and one that does not, as Ghostscript sees it.
class ContentViewFailure : public ContentViewBatch {
protected:
    ContentViewFailure() { queue({pdf("a.pdf"), pdf("b.pdf")}); }

    /// Ghostscript fails for "a.pdf" by the shell text `script`.
    void runWith(const std::string& script) {
        fake.emplace("case \"$*\" in *a.pdf) " + script + ";; esac");
        useGhostscript(fake->url());
        run();
    }

    std::optional<FakeGhostscript> fake;
};

TEST_F(ContentViewFailure, OfGhostscriptTellsWhatItSaid) {
    runWith("echo one; echo two; exit 1");
    EXPECT_EQ(job(0).state, State::Failed);
    EXPECT_EQ(job(0).outputURL, std::nullopt);
    EXPECT_EQ(errorOf(0), "Ghostscript failed.\none\ntwo");
    EXPECT_EQ(log(), (Lines{"[1/2] a.pdf", "ERROR: Ghostscript failed.\none\ntwo", "[2/2] b.pdf",
                            "Ghostscript finished without messages.",
                            "Done: " + nativeOutput("b").native()}));
}

TEST_F(ContentViewFailure, OfGhostscriptByASignalIsAFailure) {
    runWith("echo one; kill -SEGV $$");
    EXPECT_EQ(errorOf(0), "Ghostscript failed.\none");
    EXPECT_EQ(job(1).state, State::Completed);
}

TEST_F(ContentViewFailure, OfGhostscriptLeavesTheWorkFileAndNoOutput) {
    runWith("exit 1");
    EXPECT_EQ(workFileCount(), 1);
    EXPECT_FALSE(exists(nativeOutput("a")));
}

TEST_F(ContentViewFailure, OfGhostscriptKeepsAnEarlierOutput) {
    folder.file(nativeOutput("a").filename(), "earlier");
    runWith("exit 1");
    EXPECT_EQ(contents(nativeOutput("a")), "earlier");
}

TEST_F(ContentViewFailure, ToStartGhostscriptTellsWhy) {
    useGhostscript(folder.program("gs", "#!/missing/interpreter\n"));
    run();
    EXPECT_EQ(errorOf(0),
              "Could not start \"" + (folder / "gs").native() + "\": No such file or directory");
    EXPECT_EQ(log().at(1), "ERROR: " + errorOf(0));
    EXPECT_EQ(errorOf(1), errorOf(0));
}

TEST_F(ContentViewFailure, ToPatchTheOutputTellsSo) {
    runWith("sed -i s/startxref/nowhere/ \"$output\""); // which a reader gets over
    EXPECT_EQ(errorOf(0), "Could not patch the final PDF page boxes.");
    EXPECT_EQ(job(1).state, State::Completed);
}

TEST_F(ContentViewFailure, ToMoveTheOutputKeepsTheConsoleLines) {
    std::filesystem::create_directory(nativeOutput("a"));
    runWith("echo one");
    const std::string reason =
        "Could not write \"" + nativeOutput("a").native() + "\": Is a directory";
    EXPECT_EQ(errorOf(0), reason);
    EXPECT_EQ(log(), (Lines{"[1/2] a.pdf", "one", "ERROR: " + reason, "[2/2] b.pdf",
                            "Ghostscript finished without messages.",
                            "Done: " + nativeOutput("b").native()}));
    EXPECT_EQ(workFileCount(), 1);
}

TEST_F(ContentViewFailure, ToOpenTheInputTellsSo) {
    folder.file("a.pdf", "no PDF");
    run();
    EXPECT_EQ(errorOf(0), "Could not open the input PDF.");
    EXPECT_EQ(log(), (Lines{"[1/2] a.pdf", "ERROR: Could not open the input PDF.", "[2/2] b.pdf",
                            rasterLine, "Done: " + rasterOutput("b").native()}));
}

TEST_F(ContentViewFailure, ToFindTheInputTellsSo) {
    std::filesystem::remove(folder / "a.pdf");
    run();
    EXPECT_EQ(errorOf(0), "Could not open the input PDF.");
    EXPECT_EQ(job(1).state, State::Completed);
}

TEST_F(ContentViewBatch, TakesTenMegabytesOfConsoleText) {
    queue({pdf("a.pdf")});
    const FakeGhostscript fake("yes 'a line of forty bytes with its line end' | head -c 10485760");
    useGhostscript(fake.url());
    run();
    EXPECT_EQ(job(0).state, State::Completed);
    EXPECT_EQ(view->logLines()->count(), 2 + 10485760 / 40);
}

TEST_F(ContentViewBatch, TakesTenMegabytesOfConsoleTextFromAFailure) {
    queue({pdf("a.pdf")});
    const FakeGhostscript fake("head -c 10485760 /dev/zero | tr '\\0' x; exit 1");
    useGhostscript(fake.url());
    run();
    EXPECT_EQ(job(0).errorMessage.value().size(),
              10485760 + std::ssize("Ghostscript failed.\n") - 1);
}

// MARK: Outputs of several jobs under one name

TEST_F(ContentViewBatch, WritesAFileThatIsQueuedTwiceTwiceInTurn) {
    const path input = folder.file("a.pdf", manyPages(2));
    view->addPDFs(std::vector{input, input});
    std::vector<int> pages;
    QObject::connect(view->logLines(), &LogLinesModel::countChanged, [&] {
        if (view->logLines()->lines().last().startsWith("Done: "))
            pages.push_back(pageCount(rasterOutput("a")));
    });
    run();
    EXPECT_TRUE(view->allCompleted());
    EXPECT_EQ(pages, (std::vector<int>{2, 2}));
    EXPECT_EQ(job(0).outputURL, job(1).outputURL);
}

TEST_F(ContentViewBatch, LeavesTheResultOfTheLastJobUnderASharedName) {
    // Both lose their extension in the name of the result.
    queue({folder.file("a.pdf", manyPages(1)), folder.file("a.PDF", manyPages(3))});
    run();
    EXPECT_TRUE(view->allCompleted());
    EXPECT_EQ(pageCount(rasterOutput("a")), 3);
}

TEST_F(ContentViewBatch, KeepsTheResultOfTheFirstJobUnderASharedNameWhenTheSecondFails) {
    queue({folder.file("a.pdf", manyPages(2)), folder.file("a.PDF", "no PDF")});
    run();
    EXPECT_EQ(job(1).state, State::Failed);
    EXPECT_EQ(pageCount(rasterOutput("a")), 2);
}

// MARK: One conversion

class ContentViewConvertOne : public ContentViewBatch {
protected:
    /// Converts "a.pdf" and notes how that ended.
    QCoro::Task<> convert(std::optional<Ghostscript::Installation> installation,
                          PrintSettings settings) {
        const path input = pdf("a.pdf");
        try {
            const path output = co_await view->convertOne(input, *profile, installation, settings);
            outcome = output.filename().native();
        } catch (const OperationStopped&) {
            outcome = "stopped";
        } catch (const BackgroundThread::Abandoned&) {
            outcome = "abandoned";
        } catch (const std::exception& failure) {
            outcome = failure.what();
        }
    }

    std::string outcomeOf(std::optional<Ghostscript::Installation> installation,
                          const PrintSettings& settings) {
        convert(std::move(installation), settings);
        EXPECT_TRUE(loop.runUntil([this] { return !outcome.empty(); }));
        return outcome;
    }

    std::string outcome;
};

TEST_F(ContentViewConvertOne, UsesGhostscriptWhenItIsWantedAndThere) {
    const FakeGhostscript fake("echo one");
    EXPECT_EQ(outcomeOf(Ghostscript::Installation{fake.url()}, {10, 15, 1, true, true}),
              "a_PRINT_10x15_1mm_FOGRA39_CMYK.pdf");
    EXPECT_EQ(log(), (Lines{"one"}));
}

TEST_F(ContentViewConvertOne, MakesBitmapsWhereGhostscriptIsNotWanted) {
    const FakeGhostscript fake;
    EXPECT_EQ(outcomeOf(Ghostscript::Installation{fake.url()}, {10, 15, 1, true, false}),
              "a (CMYK raster).pdf");
    EXPECT_FALSE(fake.wasStarted());
    EXPECT_EQ(log(), (Lines{rasterLine}));
}

TEST_F(ContentViewConvertOne, MakesBitmapsWhereThereIsNoGhostscript) {
    EXPECT_EQ(outcomeOf(std::nullopt, {10, 15, 1, true, true}),
              "a_PRINT_10x15_1mm_FOGRA39_CMYK.pdf");
    EXPECT_EQ(log(), (Lines{rasterLine}));
}

TEST_F(ContentViewConvertOne, PassesFailuresOn) {
    const FakeGhostscript fake("echo one; exit 1");
    EXPECT_EQ(outcomeOf(Ghostscript::Installation{fake.url()}, {10, 15, 1, true, true}),
              "Ghostscript failed.\none");
    EXPECT_EQ(log(), Lines());
}

TEST_F(ContentViewConvertOne, WritesIntoTheTemporaryDirectoryFirst) {
    const FakeGhostscript fake;
    outcomeOf(Ghostscript::Installation{fake.url()}, {10, 15, 1, true, true});
    EXPECT_EQ(fake.outputURL().parent_path(), temporaryDirectory);
    EXPECT_EQ(fake.outputURL().extension(), ".pdf");
}

TEST_F(ContentViewConvertOne, EndsWhenTheViewIsDestroyed) {
    convert(std::nullopt, {10, 15, 1, true, false});
    view.reset();
    EXPECT_EQ(outcome, "abandoned");
}

// MARK: Stopping

/// A batch of three jobs, the second of which takes for ever in Ghostscript.
class ContentViewStop : public ContentViewBatch {
protected:
    ContentViewStop() : fake("case \"$*\" in *b.pdf)\n" + lifeline.script() + ";; esac") {
        queue({pdf("a.pdf"), pdf("b.pdf"), pdf("c.pdf")});
        useGhostscript(fake.url());
        view->convertAll();
        EXPECT_TRUE(loop.runUntil([this] { return job(1).state == State::Converting; }));
        EXPECT_TRUE(lifeline.awaitStart());
    }

    void expectOnlyTheFirstOutput() {
        EXPECT_TRUE(lifeline.awaitEnd());
        EXPECT_EQ(pageCount(nativeOutput("a")), 1);
        EXPECT_FALSE(exists(nativeOutput("b")));
        EXPECT_FALSE(exists(nativeOutput("c")));
        EXPECT_EQ(workFileCount(), 0);
    }

    Lifeline lifeline;
    FakeGhostscript fake;
};

TEST_F(ContentViewStop, EndsGhostscriptAndKeepsFinishedOutputs) {
    view->stopBatch();
    ASSERT_TRUE(batchEnds());
    expectOnlyTheFirstOutput();
    EXPECT_EQ(job(0).state, State::Completed);
    EXPECT_EQ(job(1).state, State::Pending);
    EXPECT_EQ(job(1).errorMessage, std::nullopt);
    EXPECT_EQ(job(2).state, State::Pending);
    EXPECT_EQ(log().back(), "Stopped.");
}

TEST_F(ContentViewStop, LetsTheNextBatchRun) {
    view->stopBatch();
    ASSERT_TRUE(batchEnds());
    const FakeGhostscript quick;
    useGhostscript(quick.url());
    run();
    EXPECT_TRUE(view->allCompleted());
}

TEST_F(ContentViewStop, ForgetsAStartThatWaits) {
    view->convertAll();
    view->stopBatch();
    ASSERT_TRUE(batchEnds());
    EXPECT_EQ(log().back(), "Stopped.");
}

TEST_F(ContentViewStop, ByDestructionEndsGhostscriptAndKeepsFinishedOutputs) {
    view.reset();
    expectOnlyTheFirstOutput();
    loop.runOnce();
}

TEST_F(ContentViewStop, ByDestructionAnnouncesNothing) {
    int announcements = 0;
    QObject::connect(view.get(), &ContentView::isConvertingChanged, [&] { ++announcements; });
    QObject::connect(view->logLines(), &LogLinesModel::countChanged, [&] { ++announcements; });
    QObject::connect(view->jobs(), &JobListModel::statesChanged, [&] { ++announcements; });
    view.reset();
    EXPECT_EQ(announcements, 0);
}

TEST_F(ContentViewStop, AsksBeforeTheWindowCloses) {
    EXPECT_FALSE(view->requestClose());
    EXPECT_TRUE(view->showingStopQuestion());
    EXPECT_TRUE(view->isConverting());
    view.reset();
}

TEST_F(ContentViewStop, GoesOnWhenTheQuestionIsAnsweredNo) {
    view->requestClose();
    view->continueBatch();
    EXPECT_FALSE(view->showingStopQuestion());
    loop.runOnce();
    EXPECT_TRUE(view->isConverting());
    EXPECT_EQ(job(1).state, State::Converting);
}

TEST_F(ContentViewStop, LetsTheWindowCloseWhenTheQuestionIsAnsweredYes) {
    bool ready = false;
    QObject::connect(view.get(), &ContentView::closeReady, [&] { ready = view->requestClose(); });
    view->requestClose();
    view->stopBatchAndClose();
    EXPECT_FALSE(view->showingStopQuestion());
    EXPECT_FALSE(ready);
    EXPECT_TRUE(loop.runUntil([&] { return ready; }));
    expectOnlyTheFirstOutput();
}

TEST_F(ContentViewStop, StartsNothingBehindAClosingWindow) {
    bool ready = false;
    QObject::connect(view.get(), &ContentView::closeReady, [&] { ready = true; });
    view->stopBatchAndClose();
    view->convertAll();
    ASSERT_TRUE(loop.runUntil([&] { return ready; }));
    loop.runOnce();
    EXPECT_FALSE(view->isConverting());
    EXPECT_EQ(job(0).state, State::Completed);
}

TEST_F(ContentViewBatch, TakesTheQuestionBackWhenItEnds) {
    queue({pdf("a.pdf")});
    bool closed = false;
    QObject::connect(view.get(), &ContentView::closeReady, [&] { closed = true; });
    view->convertAll();
    EXPECT_FALSE(view->requestClose());
    ASSERT_TRUE(batchEnds());
    EXPECT_FALSE(view->showingStopQuestion());
    EXPECT_FALSE(closed);
    EXPECT_EQ(job(0).state, State::Completed);
}

TEST_F(ContentViewBatch, LetsTheWindowCloseWhenItEndedBeforeTheAnswer) {
    bool closed = false;
    QObject::connect(view.get(), &ContentView::closeReady, [&] { closed = true; });
    view->stopBatchAndClose();
    EXPECT_TRUE(closed);
}

TEST_F(ContentViewBatch, StopsWhileItDrawsPages) {
    queue({folder.file("a.pdf", manyPages(500)), pdf("b.pdf")});
    view->convertAll();
    view->stopBatch();
    ASSERT_TRUE(batchEnds());
    EXPECT_EQ(job(0).state, State::Pending);
    EXPECT_EQ(job(1).state, State::Pending);
    EXPECT_FALSE(exists(rasterOutput("a")));
    EXPECT_EQ(workFileCount(), 0);
    EXPECT_EQ(log(), (Lines{"[1/2] a.pdf", "Stopped."}));
}

TEST_F(ContentViewBatch, TakesNoFailureForOneWhileItIsStopped) {
    queue({folder.file("a.pdf", "no PDF")});
    QObject::connect(view->logLines(), &LogLinesModel::countChanged, view.get(), [this] {
        if (view->logLines()->count() == 1)
            view->stopBatch();
    });
    run();
    EXPECT_EQ(job(0).state, State::Pending);
    EXPECT_EQ(errorOf(0), "none");
    EXPECT_EQ(log(), (Lines{"[1/1] a.pdf", "Stopped."}));
}

TEST_F(ContentViewBatch, StopsByDestructionWhileItDrawsPages) {
    queue({folder.file("a.pdf", manyPages(500))});
    view->convertAll();
    view.reset();
    EXPECT_FALSE(exists(rasterOutput("a")));
    EXPECT_EQ(workFileCount(), 0);
    loop.runOnce();
}

TEST_F(ContentViewBatch, StopsByDestructionBetweenConversionAndMove) {
    queue({pdf("a.pdf")});
    QObject::connect(
        view->logLines(), &LogLinesModel::countChanged, QCoreApplication::instance(),
        [this] {
            if (log().back() == rasterLine)
                view.reset();
        },
        Qt::QueuedConnection);
    view->convertAll();
    ASSERT_TRUE(loop.runUntil([this] { return !view; }));
    EXPECT_EQ(workFileCount(), 0);
    if (exists(rasterOutput("a"))) {
        EXPECT_EQ(pageCount(rasterOutput("a")), 1); // it was too late, and the result is whole
    }
}

TEST_F(ContentViewBatch, DoesNothingWhenStoppedWhileNoBatchRuns) {
    queue({pdf("a.pdf")});
    view->stopBatch();
    EXPECT_FALSE(view->isConverting());
    run();
    EXPECT_EQ(job(0).state, State::Completed);
}

} // namespace
} // namespace Bleedwise
