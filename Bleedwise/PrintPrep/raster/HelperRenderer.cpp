#include "PrintPrep/raster/HelperRenderer.h"

#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/AvailableMemory.h"
#include "PrintPrep/platform/AvailableProcessors.h"
#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "PrintPrep/platform/SharedMemory.h"
#include "PrintPrep/platform/StopSignal.h"
#include "PrintPrep/raster/PageDivision.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include <poll.h>

namespace Bleedwise::HelperRenderer {
namespace {

using RendererProtocol::Kind;
using RendererProtocol::Reply;
using RendererProtocol::Request;
using RendererProtocol::Status;

/// A smaller bitmap is drawn sooner than another process has started.
constexpr std::int64_t worthAnotherProcess = 4 << 20;

/// Every part of a page costs reading all of its images: from one pixel of those that take long to
/// read for so many of the page's on, two processes are hardly faster than one and take nearly
/// twice its time together.
constexpr std::int64_t mostImagePixels = 2;

/// Parts for each process, as long as it is not known how long they take: who is done sooner draws
/// more of them.
constexpr std::int64_t partsToTry = 2;

/// A bitmap's memory of up to so many bytes is there before the first process has started.
constexpr std::size_t soonPopulated = 16U << 20U;

/// What a process holds while it draws, beside the finished rows, is bounded by this.
constexpr std::int64_t largestBand = 128 << 20;

/// What drawing needs beside the bitmap, at least: fonts, images, transparency groups.
constexpr std::uint64_t workingMemory = 64ULL << 20U;

/// A process and what it has been told.
struct Worker {
    RendererHelper helper;
    /// The profile that it has; it gets none twice.
    std::optional<OutputProfile> profile = std::nullopt;
    /// The number of the bitmap that it has; from 1 on.
    int bitmap = 0;
    bool isDrawing = false;
    /// Of which part.
    std::size_t part = 0;
    /// The first drawing takes longer: fonts and colour tables are made for it.
    bool hasDrawn = false;

    explicit Worker(const std::filesystem::path& executable) : helper(executable) {}
};

using Workers = std::vector<std::unique_ptr<Worker>>;

/// The rows of one request, as parts that are drawn apart.
class Bands {
public:
    /// The rows at `bounds` begin parts.
    Bands(const RenderRequest& request, std::vector<std::int64_t> bounds)
        : request_(request), bounds_(std::move(bounds)), times_(bounds_.size() - 1) {}

    /// Every part costs as much as reading the page's contents once more, so there is one for each
    /// process and no more, once it is known how to divide pages.
    static std::int64_t countFor(const RenderRequest& request, std::int64_t processes,
                                 bool isDivisionKnown) {
        const std::int64_t bands = request.size.width * 4 * request.rowCount / largestBand + 1;
        const std::int64_t parts =
            processes > 1 && !isDivisionKnown ? partsToTry * processes : processes;
        return std::clamp<std::int64_t>(std::max(parts, bands), 1, request.rowCount);
    }

    bool isEmpty() const { return next_ == times_.size(); }

    /// The number of the part that `take()` gives.
    std::size_t next() const { return next_; }

    Request take() {
        const std::int64_t begin = bounds_[next_];
        const std::int64_t end = bounds_[++next_];
        Request band;
        band.kind = Kind::drawRows;
        band.page = request_.page;
        band.size = request_.size;
        band.window = request_.placement.window;
        band.visible = request_.placement.visible;
        band.firstRow = request_.firstRow + begin;
        band.rowCount = end - begin;
        band.offset = 4 * request_.size.width * begin;
        return band;
    }

    void note(std::size_t part, PageDivision::Seconds time) { times_[part] = time; }

    /// The parts with what they took, if that is known of all.
    std::vector<PageDivision::Part> noted() const {
        std::vector<PageDivision::Part> parts;
        for (std::size_t part = 0; part < times_.size(); ++part) {
            if (times_[part])
                parts.push_back({bounds_[part], bounds_[part + 1], *times_[part]});
        }
        return parts.size() == times_.size() ? parts : std::vector<PageDivision::Part>();
    }

private:
    const RenderRequest& request_;
    std::vector<std::int64_t> bounds_;
    std::vector<std::optional<PageDivision::Seconds>> times_;
    std::size_t next_ = 0;
};

std::optional<RenderFailure> failureOf(Status status) {
    switch (status) {
    case Status::done:
        return std::nullopt;
    case Status::notThere:
        return RenderFailure::noSuchPage;
    case Status::tooLarge:
        return RenderFailure::tooLarge;
    case Status::indivisible:
        return RenderFailure::indivisible;
    case Status::failed:
    case Status::locked:
        break;
    }
    return RenderFailure::failed;
}

/// Bytes in the rows; nothing when no memory has so many.
std::optional<std::int64_t> rowBytes(const RenderRequest& request) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / 4;
    if (request.rowCount < 1 || request.size.width < 1 ||
        request.rowCount > most / request.size.width)
        return std::nullopt;
    return 4 * request.size.width * request.rowCount;
}

bool fitsMemory(std::size_t bytes) {
    const std::uint64_t available = availableMemory();
    return available > workingMemory && bytes <= available - workingMemory;
}

/// How many processes are worth their while for so many pixels.
std::int64_t usefulProcesses(std::int64_t pixels) {
    return std::max<std::int64_t>(1, 4 * pixels / worthAnotherProcess);
}

/// Blocks until one of them has something to say, is overdue, or has nothing to do. Throws
/// `OperationStopped`.
void await(std::span<const std::unique_ptr<Worker>> workers, const StopSignal& stop) {
    auto deadline = RendererHelper::Clock::time_point::max();
    std::vector<pollfd> waits = {{stop.descriptor(), POLLIN, 0}};
    for (const auto& worker : workers) {
        if (worker->helper.outstanding() == 0)
            continue;
        waits.push_back({worker->helper.descriptor(), POLLIN, 0});
        deadline = std::min(deadline, worker->helper.deadline());
    }
    int ready = 0;
    do
        ready = ::poll(waits.data(), waits.size(), RendererHelper::millisecondsUntil(deadline));
    while (ready < 0 && errno == EINTR);
    if (waits.front().revents != 0)
        throw OperationStopped();
}

class Renderer final : public PageRenderer {
public:
    Renderer(FileDescriptor document, Options options)
        : document_(std::move(document)), options_(std::move(options)) {
        addWorker();
        const std::int64_t bytes = options_.size.bytes();
        if (fitsMemory(static_cast<std::size_t>(bytes)))
            addWorkers(std::min<std::int64_t>(options_.processes, usefulProcesses(bytes / 4)));
    }

    /// What goes wrong here goes wrong again where it is needed.
    void prepare(const OutputProfile& profile, std::optional<SharedMemory> bitmap) {
        useBitmap(std::move(bitmap));
        try {
            for (const auto& worker : workers_) {
                giveProfile(*worker, profile);
                if (memory_)
                    giveBitmap(*worker);
            }
        } catch (const RendererHelper::Failure&) {
        } catch (const std::system_error&) { // no descriptors left
        }
    }

    ~Renderer() override { endProcesses(); }

    Status finishOpening() {
        const Reply reply = receive();
        pageCount_ = static_cast<int>(reply.pageCount);
        return reply.status;
    }

    int pageCount() const override { return pageCount_; }

    std::optional<Rectangle> mediaBox(int page) override {
        const auto reply = ask(Kind::mediaBox, page);
        if (!reply)
            return std::nullopt;
        pageOfImages_ = page;
        imagePixels_ = reply->imagePixels;
        return reply->mediaBox;
    }

    std::optional<PageDescription> describe(int page) override {
        const auto reply = ask(Kind::describePage, page);
        if (!reply)
            return std::nullopt;
        const auto* areas = reply->annotations.data();
        return PageDescription{reply->mediaBox,
                               static_cast<int>(reply->rotation),
                               {areas, areas + reply->annotationCount}};
    }

    std::optional<ForeignColor> foreignColor(int page) override {
        const auto reply = ask(Kind::auditColors, page);
        return reply ? std::optional(static_cast<ForeignColor>(reply->foreignColor)) : std::nullopt;
    }

    void close() noexcept override {
        for (const auto& worker : workers_)
            worker->helper.kill();
    }

    RenderResult render(const RenderRequest& request, const OutputProfile& profile) override {
        if (workers_.empty())
            return RenderFailure::failed;
        const std::optional<std::int64_t> bytes = rowBytes(request);
        if (!bytes || !prepareBitmap(*bytes))
            return RenderFailure::tooLarge;
        try {
            const auto failure = draw(request, profile);
            if (failure)
                return *failure;
            return bitmap_;
        } catch (const RendererHelper::Failure&) {
        } catch (const std::system_error&) { // no descriptors left
        } catch (const OperationStopped&) {
            endProcesses();
            return bitmap_;
        }
        endProcesses();
        return RenderFailure::failed;
    }

private:
    /// Pages are mostly of one size: their rows are then drawn into the same memory, since new
    /// memory for each of them takes as long as drawing much of the page.
    bool prepareBitmap(std::int64_t size) {
        const auto bytes = static_cast<std::size_t>(size);
        if (bytes == bitmap_.size() && bitmap_.isUnshared())
            return true;
        useBitmap(std::nullopt); // before there is another
        preparationFailure_.reset();
        useBitmap(fitsMemory(bytes) ? SharedMemory::create(bytes) : std::nullopt);
        return bitmap_.data() != nullptr;
    }

    void useBitmap(std::optional<SharedMemory> memory) {
        memory_ = std::move(memory);
        bitmap_ = memory_ ? PixelBuffer(memory_->map(), memory_->size()) : PixelBuffer();
        ++bitmapNumber_;
    }

    /// The answer of the first process; nothing when the document does not deliver the page.
    std::optional<Reply> ask(Kind kind, int page) {
        if (workers_.empty())
            throw PrintPrepError::couldNotCreateCMYKOutput();
        try {
            Request request;
            request.kind = kind;
            request.page = page;
            RendererHelper& helper = workers_.front()->helper;
            helper.send(request, -1, options_.patience);
            while (helper.outstanding() > 1) {
                if (const auto failure = failureOf(receive().status))
                    preparationFailure_ = failure;
            }
            const Reply reply = receive();
            if (reply.status != Status::done)
                return std::nullopt;
            return reply;
        } catch (const RendererHelper::Failure&) {
        } catch (const std::system_error&) { // no descriptors left
        }
        endProcesses();
        throw PrintPrepError::couldNotCreateCMYKOutput();
    }

    /// The first process's next reply. Throws `RendererHelper::Failure` and `OperationStopped`.
    Reply receive() {
        try {
            const StopSignal stop(options_.stop);
            while (!workers_.front()->helper.hasReply())
                await({workers_.data(), 1}, stop);
            return workers_.front()->helper.receive();
        } catch (const OperationStopped&) {
            endProcesses();
            throw;
        }
    }

    void addWorker() {
        workers_.push_back(std::make_unique<Worker>(options_.executable));
        Request request;
        request.kind = Kind::openDocument;
        workers_.back()->helper.send(request, document_.get(), options_.patience);
    }

    void addWorkers(std::int64_t count) {
        try {
            while (static_cast<std::int64_t>(workers_.size()) < count)
                addWorker();
        } catch (const FileSystemError&) { // fewer do as well
        } catch (const RendererHelper::Failure&) {
            workers_.pop_back(); // it was there, and is gone
        }
    }

    /// How many processes are to draw; so many there are then.
    std::int64_t workersFor(const RenderRequest& request) {
        const std::int64_t pixels = request.size.width * request.rowCount;
        if (request.page == pageOfImages_ && imagePixels_ > pixels / mostImagePixels)
            return 1;
        const auto count = std::min<std::int64_t>(options_.processes, usefulProcesses(pixels));
        addWorkers(count);
        return std::min(count, static_cast<std::int64_t>(workers_.size()));
    }

    void endProcesses() noexcept {
        close();
        workers_.clear();
    }

    void giveProfile(Worker& worker, const OutputProfile& profile) {
        if (worker.profile && worker.profile->isCopyOf(profile))
            return;
        const SharedMemory& memory = profile.memory();
        Request request;
        request.kind = Kind::setProfile;
        request.size.width = static_cast<std::int64_t>(memory.size());
        worker.helper.send(request, memory.descriptor(), options_.patience);
        worker.profile = profile;
    }

    void giveBitmap(Worker& worker) const {
        if (worker.bitmap == bitmapNumber_)
            return;
        Request request;
        request.kind = Kind::setBitmap;
        request.size.width = static_cast<std::int64_t>(memory_->size());
        worker.helper.send(request, memory_->descriptor(), options_.patience);
        worker.bitmap = bitmapNumber_;
    }

    void handOver(Worker& worker, const Request& band, const OutputProfile& profile) {
        giveProfile(worker, profile);
        giveBitmap(worker);
        worker.helper.send(band, -1, options_.patience);
        worker.isDrawing = true;
    }

    static void noteEnd(Worker& worker, const Reply& reply, Bands& bands) {
        if (worker.hasDrawn)
            bands.note(worker.part, std::chrono::microseconds(reply.microseconds));
        worker.isDrawing = false;
        worker.hasDrawn = true;
    }

    /// Draws all rows; else says why it cannot. Nobody is left drawing.
    std::optional<RenderFailure> draw(const RenderRequest& request, const OutputProfile& profile) {
        const std::int64_t processes = workersFor(request);
        const auto failure = drawParts(request, profile, processes,
                                       Bands::countFor(request, processes, division_.hasLearned()));
        if (failure != RenderFailure::indivisible)
            return failure;
        return drawParts(request, profile, 1, 1);
    }

    std::optional<RenderFailure> drawParts(const RenderRequest& request,
                                           const OutputProfile& profile, std::int64_t processes,
                                           std::int64_t parts) {
        const StopSignal stop(request.stop);
        // Those that are not needed are not waited for, and may be gone.
        const std::span drawing(workers_.data(), static_cast<std::size_t>(processes));
        // Where there are more parts than processes, they are there to be small.
        const PageDivision division = parts > processes ? PageDivision() : division_;
        Bands bands(request, division.bounds(request.rowCount, parts));
        auto failure = std::exchange(preparationFailure_, std::nullopt);
        for (;;) {
            for (std::int64_t index = 0; index < processes; ++index) {
                Worker& worker = *workers_[static_cast<std::size_t>(index)];
                if (!worker.isDrawing && !bands.isEmpty() && !failure) {
                    worker.part = bands.next();
                    handOver(worker, bands.take(), profile);
                }
            }
            if (std::none_of(drawing.begin(), drawing.end(),
                             [](const auto& worker) { return worker->helper.outstanding() > 0; })) {
                if (parts > 1 && !failure)
                    division_.learn(bands.noted(), request.rowCount);
                return failure;
            }
            await(drawing, stop);
            for (const auto& worker : drawing) {
                if (!worker->helper.hasReply())
                    continue;
                const Reply reply = worker->helper.receive();
                if (const auto reason = failureOf(reply.status))
                    failure = reason;
                if (worker->isDrawing && worker->helper.outstanding() == 0)
                    noteEnd(*worker, reply, bands);
            }
        }
    }

    const FileDescriptor document_;
    const Options options_;
    int pageCount_ = 0;
    /// What the page asked for last has in images.
    int pageOfImages_ = 0;
    std::int64_t imagePixels_ = 0;
    /// The first one answers questions. None are left after a failure or a stop request.
    Workers workers_;
    /// What went wrong with what the first process was given for drawing with this bitmap.
    std::optional<RenderFailure> preparationFailure_;
    std::optional<SharedMemory> memory_;
    PixelBuffer bitmap_;
    int bitmapNumber_ = 0;
    PageDivision division_;
};

} // namespace

unsigned Options::availableProcessors() {
    return Bleedwise::availableProcessors();
}

std::optional<SharedMemory> bitmapMemory(PixelSize size) {
    const auto bytes = static_cast<std::size_t>(size.bytes());
    auto memory = fitsMemory(bytes) ? SharedMemory::create(bytes) : std::nullopt;
    if (memory && bytes <= soonPopulated)
        memory->populate();
    return memory;
}

Opening::Opening(const std::filesystem::path& url, Options options) {
    FileDescriptor document = openDocumentFile(url);
    try {
        if (document)
            renderer_ = std::make_unique<Renderer>(std::move(document), std::move(options));
    } catch (const RendererHelper::Failure&) { // it was there, and is gone
        hasFailed_ = true;
    }
}

void Opening::prepare(const OutputProfile& profile, std::optional<SharedMemory> bitmap) {
    if (renderer_)
        static_cast<Renderer&>(*renderer_).prepare(profile, std::move(bitmap));
}

std::unique_ptr<PageRenderer> Opening::finish() {
    if (!renderer_)
        return nullptr;
    auto status = Status::failed;
    try {
        status = static_cast<Renderer&>(*renderer_).finishOpening();
    } catch (const RendererHelper::Failure&) {
    } catch (const std::system_error&) { // no descriptors left
    }
    needsPassword_ = status == Status::locked;
    hasFailed_ = status != Status::done && status != Status::locked && status != Status::notThere;
    return status == Status::done ? std::move(renderer_) : nullptr;
}

std::unique_ptr<PageRenderer> open(const std::filesystem::path& url, const Options& options) {
    return Opening(url, options).finish();
}

} // namespace Bleedwise::HelperRenderer
