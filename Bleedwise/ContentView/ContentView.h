#pragma once

#include "ContentView/BackgroundTask.h"
#include "ContentView/ConversionJob.h"
#include "ContentView/ConversionMode.h"
#include "ContentView/DimensionField.h"
#include "ContentView/JobListModel.h"
#include "ContentView/LogLinesModel.h"
#include "ContentView/SettingsStore.h"
#include "PrintPrep/Ghostscript.h"
#include "PrintPrep/PrintSettings.h"

#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <vector>

#include <QCoroTask>
#include <QObject>
#include <QStringList>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

namespace Bleedwise {

/// What the main window shows and does, without the window: the queue, the size fields, the options
/// and the conversion of the whole queue.
///
/// Everything is called, and every change is announced, on the main thread; the process ends on a
/// call from another one. Only the conversions leave it, one at a time. Absent texts are empty ones
/// in QML.
///
/// May be destroyed while a batch runs, but not from within one of its own signals. It then ends
/// the conversion, waits for that, and leaves neither a child process nor a work file behind;
/// finished outputs stay.
class ContentView : public QObject {
    Q_OBJECT
    QML_ELEMENT

    Q_PROPERTY(Bleedwise::JobListModel* jobs READ jobs CONSTANT)
    Q_PROPERTY(int jobCount READ jobCount NOTIFY jobCountChanged)
    Q_PROPERTY(
        QUuid selectedJobID READ selectedJobID WRITE setSelectedJobID NOTIFY selectedJobIDChanged)
    Q_PROPERTY(bool allCompleted READ allCompleted NOTIFY outcomeChanged)
    Q_PROPERTY(bool anyFailed READ anyFailed NOTIFY outcomeChanged)

    Q_PROPERTY(QString statusMessage READ statusMessageText NOTIFY statusMessageChanged)
    Q_PROPERTY(Bleedwise::LogLinesModel* logLines READ logLines CONSTANT)
    Q_PROPERTY(bool isConverting READ isConverting NOTIFY isConvertingChanged)
    Q_PROPERTY(int currentJobNumber READ currentJobNumber NOTIFY currentJobNumberChanged)
    Q_PROPERTY(QString ghostscriptPath READ ghostscriptPathText NOTIFY ghostscriptPathChanged)
    Q_PROPERTY(bool canConvert READ canConvert NOTIFY canConvertChanged)

    Q_PROPERTY(
        QString widthBinding READ widthBinding WRITE setWidthBinding NOTIFY widthBindingChanged)
    Q_PROPERTY(
        QString heightBinding READ heightBinding WRITE setHeightBinding NOTIFY heightBindingChanged)
    Q_PROPERTY(
        QString bleedBinding READ bleedBinding WRITE setBleedBinding NOTIFY bleedBindingChanged)
    Q_PROPERTY(bool sourceIncludesBleed READ sourceIncludesBleed WRITE setSourceIncludesBleed NOTIFY
                   sourceIncludesBleedChanged)
    Q_PROPERTY(bool useGhostscript READ useGhostscript WRITE setUseGhostscript NOTIFY
                   useGhostscriptChanged)
    Q_PROPERTY(Bleedwise::ConversionMode::Value conversionModeBinding READ conversionModeBinding
                   WRITE setConversionModeBinding NOTIFY useGhostscriptChanged)
    /// By the number of the mode.
    Q_PROPERTY(QStringList conversionModeNames READ conversionModeNames CONSTANT)

    Q_PROPERTY(bool isTargeted MEMBER isTargeted_ NOTIFY isTargetedChanged)
    Q_PROPERTY(bool plusHovered MEMBER plusHovered_ NOTIFY plusHoveredChanged)
    Q_PROPERTY(bool consoleExpanded MEMBER consoleExpanded_ NOTIFY consoleExpandedChanged)
    Q_PROPERTY(bool showingDetails MEMBER showingDetails_ NOTIFY showingDetailsChanged)
    Q_PROPERTY(int focusedField READ focusedFieldNumber WRITE setFocusedFieldNumber NOTIFY
                   focusedFieldChanged)
    Q_PROPERTY(bool showingStopQuestion READ showingStopQuestion NOTIFY showingStopQuestionChanged)

public:
    /// What `focusedField` is in QML when no field has the keyboard focus; otherwise it is a
    /// `DimensionField`.
    static constexpr int noField = -1;

    /// Where a batch looks for what it needs.
    struct Discovery {
        std::function<std::optional<Ghostscript::Installation>()> ghostscript;
        std::function<std::optional<std::filesystem::path>()> profile;
    };

    /// With the user's own settings, and what this machine has.
    explicit ContentView(QObject* parent = nullptr);
    ContentView(SettingsStore settings, Discovery discovery, QObject* parent = nullptr);
    ~ContentView() override;

    /// To be called when the window appears. Looks for Ghostscript, and on the next turn of the
    /// event loop takes the keyboard focus from the size fields.
    Q_INVOKABLE void appeared();

    // The queue.

    JobListModel* jobs() { return &jobs_; }
    int jobCount() const { return jobs_.count(); }
    bool allCompleted() const { return jobs_.allCompleted(); }
    bool anyFailed() const { return jobs_.anyFailed(); }

    /// Null when nothing is selected.
    QUuid selectedJobID() const { return jobs_.selectedJobID(); }
    void setSelectedJobID(QUuid id);
    std::optional<int> selectedJobIndex() const;
    bool shouldShowDivider(int afterRow) const;

    /// A job for a file, with the size that its name says, or else its first page, or else the
    /// defaults.
    ConversionJob makeJob(const std::filesystem::path& inputURL) const;

    /// Queues the PDFs that are not queued yet, sorted by name, and selects the first of them; says
    /// so when there are none. The paths are absolute. A file that is named twice in one call is
    /// queued twice.
    void addPDFs(const std::vector<std::filesystem::path>& inputURLs);
    /// The same for what a file dialog gives; URLs that are not files' do not count.
    Q_INVOKABLE void addPDFs(const QList<QUrl>& urls);

    /// Takes the PDFs of a drop, each by a call of `addPDFs` of its own, in the coming turns of the
    /// event loop, so that the program that they come from need not wait. Other files are passed
    /// over. The items are those of `DropURLResolver`. False, and nothing happens, while a batch
    /// runs and when no item is a file's URL.
    Q_INVOKABLE bool handleDrop(const QVariantList& items);

    Q_INVOKABLE void removeJob(QUuid id);

    /// A click on a row. Does nothing while a batch runs.
    Q_INVOKABLE void selectJob(QUuid id);

    // The same by keyboard: the keys Up, Down and Delete, which do nothing while a batch runs.

    Q_INVOKABLE void selectPreviousJob();
    Q_INVOKABLE void selectNextJob();
    Q_INVOKABLE void removeSelectedJob();

    /// Writes a size of the selected job, if there is one, and makes it convertible again.
    void updateSelectedJob(DimensionField::Value field, const QString& text);

    /// Shows a completed job's output in the file manager.
    Q_INVOKABLE void revealOutput(QUuid id);

    // Sizes and options. The bindings are those of the selected job, or else the defaults; a text
    // that is written to them becomes the default in either case.

    QString defaultWidthMM() const { return defaultText(DimensionField::Value::Width); }
    QString defaultHeightMM() const { return defaultText(DimensionField::Value::Height); }
    QString defaultBleedMM() const { return defaultText(DimensionField::Value::Bleed); }
    QString widthBinding() const { return binding(DimensionField::Value::Width); }
    QString heightBinding() const { return binding(DimensionField::Value::Height); }
    QString bleedBinding() const { return binding(DimensionField::Value::Bleed); }
    void setWidthBinding(const QString& text) { setBinding(DimensionField::Value::Width, text); }
    void setHeightBinding(const QString& text) { setBinding(DimensionField::Value::Height, text); }
    void setBleedBinding(const QString& text) { setBinding(DimensionField::Value::Bleed, text); }

    bool sourceIncludesBleed() const;
    void setSourceIncludesBleed(bool includes);
    bool useGhostscript() const;
    void setUseGhostscript(bool use);
    ConversionMode::Value conversionModeBinding() const;
    void setConversionModeBinding(ConversionMode::Value mode);
    static QStringList conversionModeNames();

    std::optional<DimensionField::Value> focusedField() const { return focusedField_; }
    void setFocusedField(std::optional<DimensionField::Value> field);

    // The batch.

    const std::optional<QString>& statusMessage() const { return statusMessage_; }
    LogLinesModel* logLines() { return &logLines_; }
    bool isConverting() const { return isConverting_; }
    /// From 1 on; 0 before the first.
    int currentJobNumber() const { return currentJobNumber_; }
    const std::optional<std::filesystem::path>& ghostscriptPath() const { return ghostscriptPath_; }

    /// Whether the Convert button is enabled.
    bool canConvert() const;

    /// The Convert button: `convertAll()`, unless the button is disabled.
    Q_INVOKABLE void convert();

    /// Converts all jobs in the order of the list, also those that are done, each beside its input.
    /// A job that fails does not end the batch. Started while a batch runs, it has the queue
    /// converted once more after that.
    QCoro::Task<> convertAll();

    /// What a job asks for; absent when its sizes are not numbers, make no page, or are too large
    /// for a file's name or a bitmap.
    std::optional<PrintSettings> printSettings(const ConversionJob& job) const;

    /// Converts one file, beside which the result comes to lie, and gives its URL. Without an
    /// installation of Ghostscript the file is converted to bitmaps. Throws what the conversion and
    /// `OutputNamer::replaceItem` throw, `OperationStopped` after `stopBatch()`, and
    /// `BackgroundThread::Abandoned` when this object goes. A failure leaves the work file in the
    /// temporary directory. One file at a time.
    QCoro::Task<std::filesystem::path>
    convertOne(std::filesystem::path inputURL, std::filesystem::path profileURL,
               std::optional<Ghostscript::Installation> ghostscript, PrintSettings settings);

    /// Ends a running batch: the job that is being converted becomes pending again, however its
    /// conversion breaks off, and its unfinished work is removed. Returns at once; `isConverting`
    /// tells when it is over.
    Q_INVOKABLE void stopBatch();

    /// The window is about to close. True when it may. While a batch runs it may not, and
    /// `showingStopQuestion` is set until `continueBatch()`, `stopBatchAndClose()` or the end of
    /// the batch.
    Q_INVOKABLE bool requestClose();
    bool showingStopQuestion() const { return showingStopQuestion_; }
    Q_INVOKABLE void continueBatch();
    /// `closeReady()` follows when the batch is over.
    Q_INVOKABLE void stopBatchAndClose();

signals:
    void jobCountChanged();
    void selectedJobIDChanged();
    void outcomeChanged();
    void statusMessageChanged();
    void isConvertingChanged();
    void currentJobNumberChanged();
    void ghostscriptPathChanged();
    void canConvertChanged();
    void widthBindingChanged();
    void heightBindingChanged();
    void bleedBindingChanged();
    void sourceIncludesBleedChanged();
    void useGhostscriptChanged();
    void isTargetedChanged();
    void plusHoveredChanged();
    void consoleExpandedChanged();
    void showingDetailsChanged();
    void focusedFieldChanged();
    void showingStopQuestionChanged();
    /// The batch that kept the window open is over: it may close now.
    void closeReady();

private:
    QString statusMessageText() const { return statusMessage_.value_or(QString()); }
    QString ghostscriptPathText() const;
    int focusedFieldNumber() const;
    void setFocusedFieldNumber(int number);

    QString defaultText(DimensionField::Value field) const;
    QString binding(DimensionField::Value field) const;
    void setBinding(DimensionField::Value field, const QString& text);
    void announceBinding(DimensionField::Value field);
    void announceBindings();

    void setStatusMessage(const std::optional<QString>& message);
    void setIsConverting(bool converting);
    void setCurrentJobNumber(int number);
    void setShowingStopQuestion(bool showing);
    void findGhostscript();
    void selectJobInRow(int row);
    void takeDropsLater();
    void takeNextDrop();

    void startBatch();
    void endBatch();
    void completeJob(QUuid id, const std::filesystem::path& outputURL);
    void stopJob(QUuid id);
    void failJob(QUuid id, const QString& message);
    QCoro::Task<> convertJob(int row, std::filesystem::path profileURL,
                             std::optional<Ghostscript::Installation> ghostscript);

    SettingsStore settings_;
    Discovery discovery_;
    JobListModel jobs_;
    LogLinesModel logLines_;
    std::optional<QString> statusMessage_;
    std::optional<std::filesystem::path> ghostscriptPath_;
    bool isConverting_ = false;
    int currentJobNumber_ = 0;
    bool isTargeted_ = false;
    bool plusHovered_ = false;
    bool consoleExpanded_ = false;
    bool showingDetails_ = false;
    bool showingStopQuestion_ = false;
    bool closesAfterBatch_ = false;
    std::optional<DimensionField::Value> focusedField_;
    /// Dropped and not yet taken.
    std::deque<std::filesystem::path> drops_;
    bool dropsArePosted_ = false;
    bool convertsAgain_ = false;
    std::stop_source stop_;
    BackgroundThread background_;
};

} // namespace Bleedwise
