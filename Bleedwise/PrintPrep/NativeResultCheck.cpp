#include "PrintPrep/NativeResultCheck.h"

#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/MappedFile.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "PrintPrep/raster/HelperRenderer.h"
#include "PrintPrep/raster/PageComparison.h"
#include "PrintPrep/raster/RendererHelper.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <set>
#include <string_view>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include <unistd.h>

namespace Bleedwise {
namespace {

/// Where readers look for a PDF's header (ISO 32000-1, annex H, note 13).
constexpr std::size_t headerRegion = 1024;

/// What the input's views may take while Ghostscript works; others are drawn when they are needed.
constexpr std::size_t mostBytesOfViews = 64U << 20U;

/// Another thread, with a renderer of its own, pays from so many pages on.
constexpr std::size_t pagesPerThread = 2;
constexpr unsigned mostThreads = 4;

/// How long a page may take to draw small, before it counts as one that cannot be read.
constexpr std::chrono::seconds patience{60};

/// How often a document is opened again after a page that the renderer has died of.
constexpr int mostDeaths = 3;

constexpr std::string_view wayOut = ". Convert this file in Raster mode.";

std::string beginningOf(int file) {
    std::string bytes(headerRegion, '\0');
    std::size_t count = 0;
    while (count < bytes.size()) {
        const ssize_t got =
            ::pread(file, bytes.data() + count, bytes.size() - count, static_cast<off_t>(count));
        if (got <= 0)
            break;
        count += static_cast<std::size_t>(got);
    }
    bytes.resize(count);
    return bytes;
}

bool hasHeader(std::string_view beginning) {
    return beginning.find("%PDF-") != std::string_view::npos;
}

/// Whether Ghostscript takes a file for PostScript although it has a PDF's header, which can stand
/// in a comment.
bool looksLikeAProgram(std::string_view beginning) {
    const auto first = std::find_if(beginning.begin(), beginning.end(), [](char character) {
        return static_cast<unsigned char>(character) > ' ';
    });
    beginning.remove_prefix(static_cast<std::size_t>(first - beginning.begin()));
    return beginning.starts_with("%!") || beginning.starts_with("%%") ||
           beginning.substr(0, beginning.find("%PDF-")).find("%!PS") != std::string_view::npos;
}

std::optional<OutputProfile> readProfile(const std::filesystem::path& url) {
    try {
        return OutputProfile::fromTrustedBytes(MappedFile(url).bytes());
    } catch (const FileSystemError&) { // Ghostscript says so itself
        return std::nullopt;
    }
}

/// A document for one thread, which gets over a page that the renderer dies of. A stop request ends
/// whatever it is asked with `OperationStopped`.
class Document {
public:
    Document(std::filesystem::path url, std::stop_token stop)
        : url_(std::move(url)), stop_(std::move(stop)) {}

    /// Nothing when it cannot be read.
    PageRenderer* open() {
        if (!renderer_ && deaths_ < mostDeaths) {
            HelperRenderer::Options options;
            options.patience = patience;
            options.processes = 1;
            options.stop = stop_;
            HelperRenderer::Opening opening(url_, options);
            renderer_ = opening.finish();
            needsPassword_ = opening.needsPassword();
            hasFailed_ = opening.hasFailed();
            if (!renderer_)
                deaths_ = mostDeaths;
        }
        return renderer_.get();
    }

    bool needsPassword() const { return needsPassword_; }
    bool hasFailed() const { return hasFailed_; }

    /// `question` is put to the renderer; nothing when it cannot answer.
    template <typename Question>
    auto ask(Question question) -> decltype(question(std::declval<PageRenderer&>())) {
        PageRenderer* renderer = open();
        if (!renderer)
            return std::nullopt;
        try {
            return question(*renderer);
        } catch (const PrintPrepError&) {
            forget();
            return std::nullopt;
        }
    }

    std::optional<PageView> view(int page, const PageGeometry::Placement& placement, PixelSize size,
                                 const OutputProfile& profile) {
        return ask([&](PageRenderer& renderer) -> std::optional<PageView> {
            const RenderResult result =
                renderer.render({page, size, placement, 0, size.height, stop_}, profile);
            throwIfStopped(stop_);
            if (const auto* pixels = std::get_if<PixelBuffer>(&result))
                return PageView(size, *pixels);
            if (std::get<RenderFailure>(result) == RenderFailure::failed)
                forget();
            return std::nullopt;
        });
    }

private:
    void forget() {
        renderer_.reset();
        ++deaths_;
    }

    std::filesystem::path url_;
    std::stop_token stop_;
    std::unique_ptr<PageRenderer> renderer_;
    bool needsPassword_ = false;
    bool hasFailed_ = false;
    int deaths_ = 0;
};

/// A page of the input that can be delivered.
struct SourcePage {
    int number;
    PageDescription description;
};

bool isLandscape(double width, double height) {
    return width > height;
}

} // namespace

class NativeResultCheck::Check {
public:
    Check(const std::filesystem::path& inputURL, const std::filesystem::path& profileURL,
          const PrintSettings& settings, std::stop_token stop)
        : inputURL_(inputURL), settings_(settings), outerStop_(std::move(stop)),
          stopWithOuter_(outerStop_, [this] { stop_.request_stop(); }) {
        const FileDescriptor file = openDocumentFile(inputURL);
        if (!file)
            return;
        const std::string beginning = beginningOf(file.get());
        if (!hasHeader(beginning))
            throw PrintPrepError::couldNotOpenPDF();
        if (PageGeometry::isCountable(settings))
            profile_ = readProfile(profileURL);
        Document document(inputURL, stop_.get_token());
        if (!document.open()) {
            if (document.needsPassword() || looksLikeAProgram(beginning))
                throw PrintPrepError::couldNotOpenPDF();
            hasFailed_ = document.hasFailed();
            return;
        }
        isReadable_ = true;
        readPages(document);
        views_.resize(pages_.size());
    }

    ~Check() {
        stop_.request_stop();
        if (drawing_.joinable())
            drawing_.join();
    }

    bool hasMovedOrigin() const {
        return std::any_of(pages_.begin(), pages_.end(), [](const SourcePage& page) {
            const Rectangle& box = page.description.mediaBox;
            return box.x != 0 || box.y != 0;
        });
    }

    void start() {
        if (!profile_ || pages_.empty())
            return;
        isDrawing_ = true;
        drawing_ = std::thread([this] { drawPages(); });
    }

    std::vector<std::string> gaps() const {
        // Without the profile, or at a size that no page has, the run fails by itself.
        if ((!isReadable_ && !hasFailed_) || !profile_)
            return {};
        const std::lock_guard lock(mutex_);
        if (!isReadable_ || unchecked_.size() == resultPages_)
            return {"The result could not be checked."};
        std::vector<std::string> lines;
        for (const int number : unchecked_)
            lines.push_back("Page " + std::to_string(number) + " could not be checked.");
        return lines;
    }

    std::optional<std::string> fault(const std::filesystem::path& outputURL) {
        Document output(outputURL, stop_.get_token());
        const PageRenderer* opened = output.open();
        throwIfStopped(outerStop_);
        if (!opened)
            return faultOfUnreadable(outputURL);
        const int count = opened->pageCount();
        if (auto wrong = faultOfCount(count))
            return wrong;
        resultPages_ = static_cast<std::size_t>(count);
        return firstFault(output, outputURL, resultPages_);
    }

private:
    void readPages(Document& document) {
        pageCount_ = document.open()->pageCount();
        for (int number = 1; number <= pageCount_; ++number) {
            throwIfStopped(outerStop_);
            const auto description =
                document.ask([&](PageRenderer& renderer) { return renderer.describe(number); });
            if (description)
                pages_.push_back({number, *description});
        }
    }

    /// A result that the renderer cannot open although it can the input is not what was wanted.
    /// That there is none at all is told where it is needed.
    std::optional<std::string> faultOfUnreadable(const std::filesystem::path& outputURL) const {
        if (!isReadable_ || !openDocumentFile(outputURL))
            return std::nullopt;
        return "The result cannot be read" + std::string(wayOut);
    }

    /// Ghostscript may deliver a page that the renderer cannot.
    std::optional<std::string> faultOfCount(int count) const {
        const auto delivered = static_cast<int>(pages_.size());
        if (!isReadable_ || (count >= delivered && count <= pageCount_))
            return std::nullopt;
        return "The result has " + std::to_string(count) + (count == 1 ? " page" : " pages") +
               " instead of " + std::to_string(delivered) + std::string(wayOut);
    }

    /// The thread's own; each page in turn, until the memory set aside is full.
    void drawPages() {
        std::size_t bytes = 0;
        try {
            Document document(inputURL_, stop_.get_token());
            for (std::size_t index = 0; index < pages_.size() && bytes < mostBytesOfViews;
                 ++index) {
                std::optional<PageView> view = expected(document, index, Turn::none);
                if (view)
                    bytes += view->bytes();
                const std::lock_guard lock(mutex_);
                views_[index] = std::move(view);
                drawn_ = index + 1;
                progress_.notify_all();
            }
        } catch (const OperationStopped&) {
        } catch (const LocalizedError&) { // what is missing is drawn later, or fails there
        }
        const std::lock_guard lock(mutex_);
        isDrawing_ = false;
        progress_.notify_all();
    }

    /// A page as it should look, when it is turned on its sheet as Ghostscript turns pages.
    std::optional<PageView> expected(Document& document, std::size_t index, Turn turn) const {
        const SourcePage& page = pages_[index];
        const PrintSettings upright = turnedBack(turn);
        std::optional<PageView> view =
            document.view(page.number, PageGeometry::place(page.description.mediaBox, upright),
                          sizeFor(turn), *profile_);
        if (!view || turn == Turn::none)
            return view;
        return view->turned(turn);
    }

    PrintSettings turnedBack(Turn turn) const {
        PrintSettings result = settings_;
        if (turn == Turn::left || turn == Turn::right)
            std::swap(result.trimWidthMM, result.trimHeightMM);
        return result;
    }

    PixelSize sizeFor(Turn turn) const { return PageViews::size(turnedBack(turn)); }

    /// From the drawing thread where it has come so far or will, else drawn now.
    std::optional<PageView> expectedUpright(Document& input, std::size_t index) {
        {
            std::unique_lock lock(mutex_);
            progress_.wait(lock, [&] { return index < drawn_ || !isDrawing_; });
            if (index < drawn_)
                return std::exchange(views_[index], std::nullopt);
        }
        return expected(input, index, Turn::none);
    }

    /// How a page may lie on the sheet: as it is, or as its own rotation says, or, where it is
    /// longer in the other direction than the sheet, turned to fit that.
    std::vector<Turn> otherTurns(const SourcePage& page) const {
        std::vector<Turn> turns;
        constexpr int quarter = 90;
        constexpr std::array clockwise = {Turn::none, Turn::right, Turn::around, Turn::left};
        const Turn own = clockwise[static_cast<std::size_t>(page.description.rotation / quarter)];
        if (own != Turn::none)
            turns.push_back(own);
        const Rectangle& box = page.description.mediaBox;
        if (isLandscape(box.width, box.height) !=
            isLandscape(settings_.trimWidthMM, settings_.trimHeightMM)) {
            for (const Turn turn : {Turn::left, Turn::right}) {
                if (turn != own)
                    turns.push_back(turn);
            }
        }
        return turns;
    }

    PageComparison::Frame frameOf(const SourcePage& page, Turn turn) const {
        const PrintSettings upright = turnedBack(turn);
        PageComparison::Frame frame =
            PageComparison::frame(PageGeometry::place(page.description.mediaBox, upright),
                                  page.description.annotations, upright);
        frame.page = turned(frame.page, turn);
        for (PageComparison::Area& area : frame.ignored)
            area = turned(area, turn);
        return frame;
    }

    /// A part of a view that is turned; the sizes are those before.
    PageComparison::Area turned(const PageComparison::Area& area, Turn turn) const {
        const PixelSize size = sizeFor(turn);
        switch (turn) {
        case Turn::none:
            break;
        case Turn::left:
            return {area.top, size.width - area.right, area.bottom, size.width - area.left};
        case Turn::around:
            return {size.width - area.right, size.height - area.bottom, size.width - area.left,
                    size.height - area.top};
        case Turn::right:
            return {size.height - area.bottom, area.left, size.height - area.top, area.right};
        }
        return area;
    }

    std::optional<std::string> faultOfLook(Document& input, Document& output, std::size_t index,
                                           int number) {
        const Rectangle sheet = PageGeometry::sheet(settings_);
        const SourcePage& page = pages_[index];
        const std::optional<PageView> upright = expectedUpright(input, index);
        throwIfStopped(outerStop_);
        const std::optional<PageView> found =
            upright ? output.view(number, {sheet, sheet}, sizeFor(Turn::none), *profile_)
                    : std::nullopt;
        if (!found) {
            noteUnchecked(number);
            return std::nullopt;
        }
        const PageComparison::Frame frame = frameOf(page, Turn::none);
        if (PageComparison::isRight(*upright, *found, frame))
            return std::nullopt;
        for (const Turn turn : otherTurns(page)) {
            const std::optional<PageView> view = expected(input, index, turn);
            if (!view)
                noteUnchecked(number);
            if (!view || PageComparison::isRight(*view, *found, frameOf(page, turn)))
                return std::nullopt;
        }
        throwIfStopped(outerStop_);
        const auto difference = PageComparison::difference(*upright, *found, frame);
        throwIfStopped(outerStop_);
        return difference;
    }

    void noteUnchecked(int number) {
        const std::lock_guard lock(mutex_);
        unchecked_.insert(number);
    }

    std::optional<std::string> faultOfColors(Document& output, int number) {
        const auto foreign =
            output.ask([&](PageRenderer& renderer) { return renderer.foreignColor(number); });
        if (!foreign)
            noteUnchecked(number);
        switch (foreign.value_or(ForeignColor::none)) {
        case ForeignColor::none:
            break;
        case ForeignColor::rgb:
            return "still has RGB colour";
        case ForeignColor::spot:
            return "has a spot colour that is not described in CMYK";
        case ForeignColor::other:
            return "has colour that is neither CMYK nor grey";
        }
        return std::nullopt;
    }

    /// Of a page of the result, from 1 on, in words that go on where its name ends.
    std::optional<std::string> faultOfPage(Document& input, Document& output, std::size_t count,
                                           int number) {
        const std::optional<std::size_t> index = indexOf(number, count);
        if (index && profile_) {
            if (auto wrong = faultOfLook(input, output, *index, number))
                return wrong;
        } else {
            noteUnchecked(number);
        }
        if (!isReadable_ && isBlank(output, number))
            return "is blank";
        return faultOfColors(output, number);
    }

    /// Which page of the input a page of the result is; nothing when that is not known.
    std::optional<std::size_t> indexOf(int number, std::size_t count) const {
        const auto position = static_cast<std::size_t>(number) - 1;
        if (count == pages_.size())
            return position;
        const auto found = std::find_if(pages_.begin(), pages_.end(), [&](const SourcePage& page) {
            return page.number == number;
        });
        if (count != static_cast<std::size_t>(pageCount_) || found == pages_.end())
            return std::nullopt;
        return static_cast<std::size_t>(found - pages_.begin());
    }

    /// Where the renderer cannot read the input, Ghostscript often cannot either, and then leaves
    /// one page without anything.
    bool isBlank(Document& output, int number) const {
        const Rectangle sheet = PageGeometry::sheet(settings_);
        const std::optional<PageView> view =
            profile_ ? output.view(number, {sheet, sheet}, sizeFor(Turn::none), *profile_)
                     : std::nullopt;
        const auto isPaper = [](const PageView::Plane& plane) {
            return std::all_of(plane.begin(), plane.end(),
                               [](std::uint8_t light) { return light == 255; });
        };
        return view && std::all_of(view->planes().begin(), view->planes().end(), isPaper);
    }

    /// Several threads take the pages of the result in turn; the fault of the first wrong page
    /// counts.
    std::optional<std::string> firstFault(Document& output, const std::filesystem::path& outputURL,
                                          std::size_t count) {
        std::atomic<int> next = 1;
        std::mutex mutex;
        int firstWrong = static_cast<int>(count) + 1;
        std::string wrong;
        const auto look = [&](Document& document) {
            Document input(inputURL_, stop_.get_token());
            for (int number = next++; number <= static_cast<int>(count); number = next++) {
                throwIfStopped(outerStop_);
                const auto fault = faultOfPage(input, document, count, number);
                if (!fault)
                    continue;
                const std::lock_guard lock(mutex);
                next = static_cast<int>(count) + 1;
                if (number < firstWrong) {
                    firstWrong = number;
                    wrong = *fault;
                }
            }
        };
        std::vector<std::future<void>> others;
        const std::size_t useful = std::min<std::size_t>(
            {count / pagesPerThread, mostThreads, HelperRenderer::Options::availableProcessors()});
        for (std::size_t thread = 1; thread < useful; ++thread)
            others.push_back(std::async(std::launch::async, [&] {
                Document own(outputURL, stop_.get_token());
                look(own);
            }));
        look(output);
        for (std::future<void>& other : others)
            other.get();
        if (wrong.empty())
            return std::nullopt;
        return "Page " + std::to_string(firstWrong) + " of the result " + wrong +
               std::string(wayOut);
    }

    const std::filesystem::path inputURL_;
    const PrintSettings settings_;
    const std::stop_token outerStop_;
    /// Of everything that draws: by the outer one, or at the end.
    std::stop_source stop_;
    const std::stop_callback<std::function<void()>> stopWithOuter_;

    /// None when no page can be drawn.
    std::optional<OutputProfile> profile_;
    bool isReadable_ = false;
    /// Whether that is the fault of the renderer.
    bool hasFailed_ = false;
    int pageCount_ = 0;
    std::vector<SourcePage> pages_;
    /// 0 as long as the result has not been read.
    std::size_t resultPages_ = 0;

    std::thread drawing_;
    mutable std::mutex mutex_;
    std::condition_variable progress_;
    // The rest is the mutex's.
    std::vector<std::optional<PageView>> views_;
    std::size_t drawn_ = 0;
    bool isDrawing_ = false;
    std::set<int> unchecked_;
};

NativeResultCheck::NativeResultCheck(const std::filesystem::path& inputURL,
                                     const std::filesystem::path& profileURL,
                                     const PrintSettings& settings, std::stop_token stop)
    : check_(std::make_unique<Check>(inputURL, profileURL, settings, std::move(stop))) {}

NativeResultCheck::~NativeResultCheck() = default;

bool NativeResultCheck::hasMovedOrigin() const {
    return check_->hasMovedOrigin();
}

void NativeResultCheck::start() {
    check_->start();
}

std::vector<std::string> NativeResultCheck::gaps() const {
    return check_->gaps();
}

std::optional<std::string> NativeResultCheck::fault(const std::filesystem::path& outputURL) {
    return check_->fault(outputURL);
}

} // namespace Bleedwise
