// The batch of `ContentView`: converting the whole queue, and ending that early.

#include "ContentView/ContentView.h"

#include "ContentView/DimensionText.h"
#include "ContentView/FileURL.h"
#include "ContentView/MainThread.h"
#include "PrintPrep/OutputNamer.h"
#include "PrintPrep/RasterCMYKConverter.h"
#include "PrintPrep/platform/LocalizedError.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "PrintPrep/platform/TemporaryFile.h"
#include "PrintPrep/raster/PageGeometry.h"

#include <exception>
#include <system_error>
#include <utility>

namespace Bleedwise {
namespace {

using State = ConversionJob::State;

/// Where a conversion writes. What is there at the end of the scope goes when the batch was
/// stopped, and stays otherwise, for whoever wants to see why a conversion failed.
class WorkFile {
public:
    explicit WorkFile(std::stop_token stop)
        : url_(TemporaryFile::freshWorkFileURL()), stop_(std::move(stop)) {}
    WorkFile(const WorkFile&) = delete;
    WorkFile& operator=(const WorkFile&) = delete;
    ~WorkFile() {
        std::error_code ignored;
        if (stop_.stop_requested())
            std::filesystem::remove(url_, ignored);
    }

    const std::filesystem::path& url() const { return url_; }

private:
    std::filesystem::path url_;
    std::stop_token stop_;
};

QStringList displayTexts(const std::vector<std::string>& lines) {
    QStringList texts;
    texts.reserve(static_cast<qsizetype>(lines.size()));
    for (const std::string& line : lines)
        texts.append(FileURL::displayText(line));
    return texts;
}

} // namespace

QCoro::Task<> ContentView::convertAll() {
    MainThread::require("ContentView::convertAll");
    if (isConverting_) {
        convertsAgain_ = true;
        co_return;
    }
    const std::optional<Ghostscript::Installation> ghostscript = discovery_.ghostscript();
    if (useGhostscript() && !ghostscript) {
        setStatusMessage(QStringLiteral("Ghostscript is not available."));
        findGhostscript();
        co_return;
    }
    const std::optional<std::filesystem::path> profileURL = discovery_.profile();
    if (!profileURL) {
        setStatusMessage(QStringLiteral("The FOGRA39 profile could not be found."));
        co_return;
    }

    startBatch();
    for (int row = 0; row < jobs_.count() && !stop_.stop_requested(); ++row) {
        setCurrentJobNumber(row + 1);
        co_await convertJob(row, *profileURL, ghostscript);
        if (background_.isAbandoned())
            co_return;
    }
    endBatch();
}

void ContentView::startBatch() {
    stop_ = std::stop_source();
    setIsConverting(true);
    setCurrentJobNumber(0);
    setStatusMessage(std::nullopt);
    logLines_.clear();
    jobs_.resetResults();
}

void ContentView::endBatch() {
    setIsConverting(false);
    findGhostscript();
    setShowingStopQuestion(false);
    takeDropsLater();
    const bool convertsAgain = std::exchange(convertsAgain_, false);
    if (std::exchange(closesAfterBatch_, false))
        emit closeReady();
    else if (convertsAgain)
        convertAll();
}

QCoro::Task<> ContentView::convertJob(int row, std::filesystem::path profileURL,
                                      std::optional<Ghostscript::Installation> ghostscript) {
    const ConversionJob job = jobs_.at(row);
    const QString position = QStringLiteral("[%1/%2] ").arg(row + 1).arg(jobs_.count());
    const std::optional<PrintSettings> settings = printSettings(job);
    if (!settings) {
        failJob(job.id, QStringLiteral("Width, height, and bleed must be valid numbers."));
        logLines_.append(position + QStringLiteral("ERROR: Invalid dimensions for ") +
                         job.fileName());
        co_return;
    }

    jobs_.setState(row, State::Converting);
    logLines_.append(position + job.fileName());
    try {
        const std::filesystem::path outputURL =
            co_await convertOne(job.inputURL, profileURL, ghostscript, *settings);
        completeJob(job.id, outputURL);
        logLines_.append(QStringLiteral("Done: ") + FileURL::displayText(outputURL.native()));
    } catch (const BackgroundThread::Abandoned&) {
        // Nobody is left to be told.
    } catch (const std::exception& failure) {
        // A conversion that is broken off may fail in any way: at a file that is half written, say.
        if (stop_.stop_requested()) {
            stopJob(job.id);
            co_return;
        }
        const QString description = FileURL::displayText(failure.what());
        failJob(job.id, description);
        logLines_.append(QStringLiteral("ERROR: ") + description);
    }
}

void ContentView::completeJob(QUuid id, const std::filesystem::path& outputURL) {
    const std::optional<int> row = jobs_.rowOf(id);
    if (!row)
        return;
    jobs_.setState(*row, State::Completed);
    jobs_.setOutputURL(*row, outputURL);
}

void ContentView::stopJob(QUuid id) {
    if (const std::optional<int> row = jobs_.rowOf(id))
        jobs_.setState(*row, State::Pending);
    logLines_.append(QStringLiteral("Stopped."));
}

void ContentView::failJob(QUuid id, const QString& message) {
    const std::optional<int> row = jobs_.rowOf(id);
    if (!row)
        return;
    jobs_.setState(*row, State::Failed);
    jobs_.setErrorMessage(*row, message);
}

std::optional<PrintSettings> ContentView::printSettings(const ConversionJob& job) const {
    MainThread::require("ContentView::printSettings");
    const std::optional<double> width = DimensionText::number(job.widthMM);
    const std::optional<double> height = DimensionText::number(job.heightMM);
    const std::optional<double> bleed = DimensionText::number(job.bleedMM);
    if (!width || !height || !bleed || !(*width > 0) || !(*height > 0) || !(*bleed >= 0))
        return std::nullopt;
    const PrintSettings settings = {*width, *height, *bleed, sourceIncludesBleed(),
                                    useGhostscript()};
    const bool canBeNamed = DimensionText::canBeNamed(*width) &&
                            DimensionText::canBeNamed(*height) && DimensionText::canBeNamed(*bleed);
    if (!canBeNamed || !PageGeometry::isCountable(settings))
        return std::nullopt;
    return settings;
}

QCoro::Task<std::filesystem::path>
ContentView::convertOne(std::filesystem::path inputURL, std::filesystem::path profileURL,
                        std::optional<Ghostscript::Installation> ghostscript,
                        PrintSettings settings) {
    MainThread::require("ContentView::convertOne");
    const std::filesystem::path outputURL = OutputNamer::defaultOutputURL(inputURL, settings);
    const std::stop_token stop = stop_.get_token();
    const WorkFile work(stop);

    if (settings.useGhostscript && ghostscript) {
        BackgroundTask<QStringList> conversion(background_, [&] {
            return displayTexts(Ghostscript::convertToCMYKSync(ghostscript->url, inputURL,
                                                               work.url(), profileURL, settings,
                                                               stop)
                                    .log);
        });
        logLines_.append(co_await conversion);
    } else {
        BackgroundTask<QString> conversion(background_, [&] {
            RasterCMYKConverter::write(inputURL, work.url(), profileURL, settings, stop);
            return QStringLiteral("Skipped Ghostscript. Flattened to FOGRA39 CMYK bitmap.");
        });
        logLines_.append(co_await conversion);
    }

    // Not the conversion's, but it waits for the disk, and copies when the temporary directory is
    // another file system: longer than a window may stand still.
    BackgroundTask<std::filesystem::path> move(background_, [&] {
        throwIfStopped(stop);
        OutputNamer::replaceItem(outputURL, work.url());
        return outputURL;
    });
    co_return co_await move;
}

void ContentView::convert() {
    MainThread::require("ContentView::convert");
    if (canConvert())
        convertAll();
}

void ContentView::stopBatch() {
    MainThread::require("ContentView::stopBatch");
    convertsAgain_ = false;
    stop_.request_stop();
}

bool ContentView::requestClose() {
    MainThread::require("ContentView::requestClose");
    setShowingStopQuestion(isConverting_ && !closesAfterBatch_);
    return !isConverting_;
}

void ContentView::continueBatch() {
    MainThread::require("ContentView::continueBatch");
    setShowingStopQuestion(false);
}

void ContentView::stopBatchAndClose() {
    MainThread::require("ContentView::stopBatchAndClose");
    setShowingStopQuestion(false);
    if (!isConverting_) {
        emit closeReady();
        return;
    }
    closesAfterBatch_ = true;
    stopBatch();
}

ContentView::~ContentView() {
    stop_.request_stop();
    background_.abandon();
}

} // namespace Bleedwise
