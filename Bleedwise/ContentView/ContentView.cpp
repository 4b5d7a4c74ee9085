#include "ContentView/ContentView.h"

#include "ContentView/DimensionText.h"
#include "ContentView/DropURLResolver.h"
#include "ContentView/FileManager.h"
#include "ContentView/FileURL.h"
#include "ContentView/MainThread.h"
#include "PrintPrep/PDFInspector.h"
#include "PrintPrep/ProfileResolver.h"
#include "PrintPrep/SizeDetector.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <QCollator>
#include <QLocale>

namespace Bleedwise {
namespace {

using Field = DimensionField::Value;

const QString sourceIncludesBleedKey = QStringLiteral("sourceIncludesBleed");
const QString useGhostscriptKey = QStringLiteral("useGhostscript");

constexpr std::array<Field, 3> allFields = {Field::Width, Field::Height, Field::Bleed};

/// A stored default size.
struct Setting {
    QString key;
    QString defaultText;
};

Setting setting(Field field) {
    switch (field) {
    case Field::Width:
        return {QStringLiteral("trimWidthMM"), QStringLiteral("105")};
    case Field::Height:
        return {QStringLiteral("trimHeightMM"), QStringLiteral("297")};
    case Field::Bleed:
        break;
    }
    return {QStringLiteral("bleedMM"), QStringLiteral("3")};
}

/// A job's three sizes as texts.
struct Sizes {
    QString width;
    QString height;
    QString bleed;
};

/// The sizes that a file's name says; what it leaves open is as in `defaults`.
std::optional<Sizes> sizesInName(const std::filesystem::path& inputURL, const Sizes& defaults) {
    const auto detected = SizeDetector::detect(inputURL.stem().native());
    if (!detected)
        return std::nullopt;
    const auto width = DimensionText::fromNumber(detected->width);
    const auto height = DimensionText::fromNumber(detected->height);
    if (!width || !height)
        return std::nullopt;
    const auto bleed = detected->bleed ? DimensionText::fromNumber(*detected->bleed) : std::nullopt;
    return Sizes{*width, *height, bleed.value_or(defaults.bleed)};
}

/// The size of the first page, less the bleed around it when there is one.
std::optional<Sizes> sizesOfPage(const std::filesystem::path& inputURL, const Sizes& defaults,
                                 bool includesBleed) {
    const auto page = PDFInspector::firstPageSizeMM(inputURL);
    if (!page)
        return std::nullopt;
    const double bleeds = includesBleed ? 2 * DimensionText::number(defaults.bleed).value_or(0) : 0;
    const auto width = DimensionText::fromNumber(std::max(0.0, page->width - bleeds));
    const auto height = DimensionText::fromNumber(std::max(0.0, page->height - bleeds));
    if (!width || !height)
        return std::nullopt;
    return Sizes{*width, *height, defaults.bleed};
}

bool isPDF(const std::filesystem::path& url) {
    const std::string extension = url.extension().native();
    return QByteArray::fromStdString(extension).toLower() == ".pdf";
}

/// As file managers sort names: without regard to case, and page 2 before page 10.
QCollator fileNameOrder() {
    // Qt leaves both to the language, and the language "C" knows neither.
    const QLocale system = QLocale::system();
    QCollator order(system.language() == QLocale::C ? QLocale(QLocale::English) : system);
    order.setNumericMode(true);
    order.setCaseSensitivity(Qt::CaseInsensitive);
    return order;
}

void sortByName(std::vector<std::filesystem::path>& urls) {
    struct Named {
        QCollatorSortKey key;
        std::filesystem::path url;
    };
    const QCollator order = fileNameOrder();
    std::vector<Named> named;
    named.reserve(urls.size());
    for (std::filesystem::path& url : urls)
        named.push_back(
            {order.sortKey(FileURL::displayText(url.filename().native())), std::move(url)});
    std::stable_sort(named.begin(), named.end(),
                     [](const Named& one, const Named& other) { return one.key < other.key; });
    std::transform(named.begin(), named.end(), urls.begin(),
                   [](Named& item) { return std::move(item.url); });
}

} // namespace

ContentView::ContentView(QObject* parent)
    : ContentView(SettingsStore::standard(),
                  {[] { return Ghostscript::find(); }, ProfileResolver::fogra39URL}, parent) {}

ContentView::ContentView(SettingsStore settings, Discovery discovery, QObject* parent)
    : QObject(parent), settings_(std::move(settings)), discovery_(std::move(discovery)) {
    MainThread::require("ContentView");
    connect(&jobs_, &JobListModel::countChanged, this, &ContentView::jobCountChanged);
    connect(&jobs_, &JobListModel::statesChanged, this, &ContentView::outcomeChanged);
    connect(&jobs_, &JobListModel::selectedJobIDChanged, this, &ContentView::selectedJobIDChanged);

    connect(this, &ContentView::selectedJobIDChanged, this, &ContentView::announceBindings);
    connect(&jobs_, &JobListModel::textChanged, this, [this](int row, Field field) {
        if (row == selectedJobIndex())
            announceBinding(field);
    });

    connect(this, &ContentView::jobCountChanged, this, &ContentView::canConvertChanged);
    connect(this, &ContentView::isConvertingChanged, this, &ContentView::canConvertChanged);
    connect(this, &ContentView::useGhostscriptChanged, this, &ContentView::canConvertChanged);
    connect(this, &ContentView::ghostscriptPathChanged, this, &ContentView::canConvertChanged);
}

void ContentView::appeared() {
    MainThread::require("ContentView::appeared");
    findGhostscript();
    QMetaObject::invokeMethod(
        this, [this] { setFocusedField(std::nullopt); }, Qt::QueuedConnection);
}

void ContentView::setSelectedJobID(QUuid id) {
    MainThread::require("ContentView::setSelectedJobID");
    jobs_.setSelectedJobID(id);
}

std::optional<int> ContentView::selectedJobIndex() const {
    MainThread::require("ContentView::selectedJobIndex");
    return jobs_.selectedJobIndex();
}

bool ContentView::shouldShowDivider(int afterRow) const {
    MainThread::require("ContentView::shouldShowDivider");
    return jobs_.shouldShowDivider(afterRow);
}

ConversionJob ContentView::makeJob(const std::filesystem::path& inputURL) const {
    MainThread::require("ContentView::makeJob");
    const Sizes defaults = {defaultWidthMM(), defaultHeightMM(), defaultBleedMM()};
    std::optional<Sizes> sizes = sizesInName(inputURL, defaults);
    if (!sizes)
        sizes = sizesOfPage(inputURL, defaults, sourceIncludesBleed());
    if (!sizes)
        sizes = defaults;

    ConversionJob job;
    job.inputURL = inputURL;
    job.originalWidthMM = job.widthMM = sizes->width;
    job.originalHeightMM = job.heightMM = sizes->height;
    job.originalBleedMM = job.bleedMM = sizes->bleed;
    return job;
}

void ContentView::addPDFs(const std::vector<std::filesystem::path>& inputURLs) {
    MainThread::require("ContentView::addPDFs");
    std::vector<std::filesystem::path> added;
    std::copy_if(inputURLs.begin(), inputURLs.end(), std::back_inserter(added),
                 [this](const auto& url) { return isPDF(url) && !jobs_.holds(url); });
    if (added.empty()) {
        setStatusMessage(QStringLiteral("Those PDFs are already in the list."));
        return;
    }
    sortByName(added);
    std::vector<ConversionJob> jobs;
    jobs.reserve(added.size());
    for (const std::filesystem::path& url : added)
        jobs.push_back(makeJob(url));
    const QUuid first = jobs.front().id;
    jobs_.append(std::move(jobs));
    setSelectedJobID(first);
    setStatusMessage(std::nullopt);
}

void ContentView::addPDFs(const QList<QUrl>& urls) {
    std::vector<std::filesystem::path> inputURLs;
    for (const QUrl& url : urls) {
        if (auto path = FileURL::path(url))
            inputURLs.push_back(std::move(*path));
    }
    addPDFs(inputURLs);
}

bool ContentView::handleDrop(const QVariantList& items) {
    MainThread::require("ContentView::handleDrop");
    if (isConverting_)
        return false;
    bool anyFile = false;
    for (const QVariant& item : items) {
        const std::optional<QUrl> url = DropURLResolver::url(item);
        const auto path = url ? FileURL::path(*url) : std::nullopt;
        anyFile = anyFile || path;
        if (path && isPDF(*path))
            drops_.push_back(*path);
    }
    takeDropsLater();
    return anyFile;
}

/// One per turn of the event loop, so that the window stays alive under a large drop. What is left
/// when a batch starts is taken after it.
void ContentView::takeDropsLater() {
    if (drops_.empty() || dropsArePosted_)
        return;
    dropsArePosted_ = true;
    QMetaObject::invokeMethod(this, &ContentView::takeNextDrop, Qt::QueuedConnection);
}

void ContentView::takeNextDrop() {
    dropsArePosted_ = false;
    if (isConverting_ || drops_.empty())
        return;
    const std::filesystem::path url = std::move(drops_.front());
    drops_.pop_front();
    addPDFs(std::vector{url});
    takeDropsLater();
}

void ContentView::removeJob(QUuid id) {
    MainThread::require("ContentView::removeJob");
    jobs_.remove(id);
    if (!id.isNull() && id == selectedJobID())
        setSelectedJobID(jobs_.count() > 0 ? jobs_.at(0).id : QUuid());
}

void ContentView::selectJob(QUuid id) {
    MainThread::require("ContentView::selectJob");
    if (isConverting_)
        return;
    setSelectedJobID(id);
    setStatusMessage(std::nullopt);
}

void ContentView::selectPreviousJob() {
    MainThread::require("ContentView::selectPreviousJob");
    selectJobInRow(jobs_.selectedRow() - 1);
}

void ContentView::selectNextJob() {
    MainThread::require("ContentView::selectNextJob");
    selectJobInRow(jobs_.selectedRow() + 1);
}

/// A row outside the list leaves the selection as it is.
void ContentView::selectJobInRow(int row) {
    if (row >= 0 && row < jobs_.count())
        selectJob(jobs_.at(row).id);
}

void ContentView::removeSelectedJob() {
    MainThread::require("ContentView::removeSelectedJob");
    if (!isConverting_ && selectedJobIndex())
        removeJob(selectedJobID());
}

void ContentView::updateSelectedJob(Field field, const QString& text) {
    MainThread::require("ContentView::updateSelectedJob");
    const std::optional<int> row = selectedJobIndex();
    if (!row)
        return;
    jobs_.setText(*row, field, text);
    jobs_.setState(*row, ConversionJob::State::Pending);
    jobs_.setOutputURL(*row, std::nullopt);
    jobs_.setErrorMessage(*row, std::nullopt);
    setStatusMessage(std::nullopt);
}

void ContentView::revealOutput(QUuid id) {
    MainThread::require("ContentView::revealOutput");
    const std::optional<int> row = jobs_.rowOf(id);
    if (row && jobs_.at(*row).outputURL)
        FileManager::reveal(*jobs_.at(*row).outputURL);
}

bool ContentView::sourceIncludesBleed() const {
    MainThread::require("ContentView::sourceIncludesBleed");
    return settings_.boolean(sourceIncludesBleedKey, true);
}

void ContentView::setSourceIncludesBleed(bool includes) {
    MainThread::require("ContentView::setSourceIncludesBleed");
    if (includes == sourceIncludesBleed())
        return;
    settings_.setBoolean(sourceIncludesBleedKey, includes);
    emit sourceIncludesBleedChanged();
}

bool ContentView::useGhostscript() const {
    MainThread::require("ContentView::useGhostscript");
    return settings_.boolean(useGhostscriptKey, false);
}

void ContentView::setUseGhostscript(bool use) {
    MainThread::require("ContentView::setUseGhostscript");
    if (use == useGhostscript())
        return;
    settings_.setBoolean(useGhostscriptKey, use);
    emit useGhostscriptChanged();
}

ConversionMode::Value ContentView::conversionModeBinding() const {
    MainThread::require("ContentView::conversionModeBinding");
    return useGhostscript() ? ConversionMode::Value::Native : ConversionMode::Value::Raster;
}

void ContentView::setConversionModeBinding(ConversionMode::Value mode) {
    MainThread::require("ContentView::setConversionModeBinding");
    setUseGhostscript(mode == ConversionMode::Value::Native);
}

QStringList ContentView::conversionModeNames() {
    QStringList names;
    std::transform(ConversionMode::allCases.begin(), ConversionMode::allCases.end(),
                   std::back_inserter(names), ConversionMode::rawValue);
    return names;
}

QString ContentView::defaultText(Field field) const {
    MainThread::require("ContentView::defaultText");
    const auto [key, text] = setting(field);
    return settings_.text(key, text);
}

QString ContentView::binding(Field field) const {
    MainThread::require("ContentView::binding");
    const std::optional<int> row = selectedJobIndex();
    return row ? jobs_.at(*row).current(field) : defaultText(field);
}

void ContentView::setBinding(Field field, const QString& text) {
    MainThread::require("ContentView::setBinding");
    const QString before = binding(field);
    settings_.setText(setting(field).key, text);
    updateSelectedJob(field, text);
    if (!selectedJobIndex() && text != before)
        announceBinding(field);
}

void ContentView::announceBinding(Field field) {
    switch (field) {
    case Field::Width:
        emit widthBindingChanged();
        break;
    case Field::Height:
        emit heightBindingChanged();
        break;
    case Field::Bleed:
        emit bleedBindingChanged();
        break;
    }
}

void ContentView::announceBindings() {
    for (const Field field : allFields)
        announceBinding(field);
}

void ContentView::setFocusedField(std::optional<Field> field) {
    MainThread::require("ContentView::setFocusedField");
    if (field == focusedField_)
        return;
    focusedField_ = field;
    emit focusedFieldChanged();
}

int ContentView::focusedFieldNumber() const {
    return focusedField_ ? static_cast<int>(*focusedField_) : noField;
}

void ContentView::setFocusedFieldNumber(int number) {
    const auto found = std::find_if(allFields.begin(), allFields.end(),
                                    [&](Field field) { return static_cast<int>(field) == number; });
    setFocusedField(found == allFields.end() ? std::nullopt : std::optional(*found));
}

bool ContentView::canConvert() const {
    return jobs_.count() > 0 && !isConverting_ && (!useGhostscript() || ghostscriptPath_);
}

QString ContentView::ghostscriptPathText() const {
    return ghostscriptPath_ ? FileURL::displayText(ghostscriptPath_->native()) : QString();
}

void ContentView::findGhostscript() {
    const std::optional<Ghostscript::Installation> found = discovery_.ghostscript();
    const auto path = found ? std::optional(found->url) : std::nullopt;
    if (path == ghostscriptPath_)
        return;
    ghostscriptPath_ = path;
    emit ghostscriptPathChanged();
}

void ContentView::setStatusMessage(const std::optional<QString>& message) {
    if (message == statusMessage_)
        return;
    statusMessage_ = message;
    emit statusMessageChanged();
}

void ContentView::setIsConverting(bool converting) {
    if (converting == isConverting_)
        return;
    isConverting_ = converting;
    emit isConvertingChanged();
}

void ContentView::setCurrentJobNumber(int number) {
    if (number == currentJobNumber_)
        return;
    currentJobNumber_ = number;
    emit currentJobNumberChanged();
}

void ContentView::setShowingStopQuestion(bool showing) {
    if (showing == showingStopQuestion_)
        return;
    showingStopQuestion_ = showing;
    emit showingStopQuestionChanged();
}

} // namespace Bleedwise
