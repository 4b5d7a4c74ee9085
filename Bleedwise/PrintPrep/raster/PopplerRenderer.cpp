#include "PrintPrep/raster/PopplerRenderer.h"

#include "PrintPrep/platform/AvailableMemory.h"
#include "PrintPrep/platform/SilencedStreams.h"
#include "PrintPrep/raster/ColorConverter.h"
#include "PrintPrep/raster/poppler/ColorAudit.h"
#include "PrintPrep/raster/poppler/ColorManager.h"
#include "PrintPrep/raster/poppler/Device.h"
#include "PrintPrep/raster/poppler/PageBlending.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include <Annot.h>
#include <Error.h>
#include <ErrorCodes.h>
#include <Gfx.h>
#include <GlobalParams.h>
#include <PDFDoc.h>
#include <Page.h>
#include <Stream.h>
#include <goo/gfile.h>
#include <splash/SplashBitmap.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace Bleedwise {
namespace {

using namespace Poppler;
using PopplerRenderer::Canvas;
using PopplerRenderer::rowsBeside;

/// Poppler's state is the process's.
std::mutex& popplerMutex() {
    static std::mutex mutex;
    return mutex;
}

/// Everything that a call into Poppler needs around it.
class PopplerCall {
public:
    PopplerCall() : lock_(popplerMutex()) {
        static const bool ready = [] {
            globalParams = std::make_unique<GlobalParams>();
            setErrorCallback([](ErrorCategory, Goffset, const char*) {});
            return true;
        }();
        static_cast<void>(ready);
    }

private:
    std::lock_guard<std::mutex> lock_;
    SilencedStreams silenced_;
};

/// Largest number of bytes in a bitmap of Poppler's, which counts them in an `int`.
constexpr std::int64_t largestBitmap = std::numeric_limits<int>::max();

/// Poppler's bitmaps have an alpha channel beside the four inks.
constexpr std::int64_t bytesPerPixel = 5;

/// How far everything is moved, in pixels, up and to the left: edges that lie exactly between two
/// samples, as many do, then fall to the same side whatever rows are drawn, though rounding errors
/// differ. The other direction would take shadings, which are sampled at pixels' upper left
/// corners, away from the page's edges.
constexpr double tieBreaker = 0x1p-20;

/// What drawing needs beside the bitmap, at least: fonts, images, transparency groups.
constexpr std::uint64_t workingMemory = 64ULL << 20U;

/// A document's bytes, mapped where there is room for it: Poppler reads a file in pieces of 256
/// bytes, with a system call for each.
class DocumentFile {
public:
    explicit DocumentFile(FileDescriptor file) : file_(std::move(file)) {
        struct stat status = {};
        if (::fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode))
            return;
        isRegular_ = true;
        size_ = status.st_size;
        if (size_ > 0)
            mapping_ = ::mmap(nullptr, mappedSize(), PROT_READ, MAP_PRIVATE, file_.get(), 0);
    }
    DocumentFile(const DocumentFile&) = delete;
    DocumentFile& operator=(const DocumentFile&) = delete;
    ~DocumentFile() {
        if (mapping_ != MAP_FAILED)
            ::munmap(mapping_, mappedSize());
    }

    bool isRegular() const { return isRegular_; }

    /// The whole file, as a PDF document takes it over. It must not outlive this object.
    std::unique_ptr<BaseStream> stream() {
        if (mapping_ != MAP_FAILED)
            return std::make_unique<MemStream>(static_cast<const char*>(mapping_), 0, size_,
                                               Object(objNull));
        if (!reader_)
            reader_ = GooFile::open(::fcntl(file_.get(), F_DUPFD_CLOEXEC, 0));
        return std::make_unique<FileStream>(reader_.get(), 0, false, size_, Object(objNull));
    }

private:
    std::size_t mappedSize() const { return static_cast<std::size_t>(size_); }

    FileDescriptor file_;
    bool isRegular_ = false;
    Goffset size_ = 0;
    void* mapping_ = MAP_FAILED;
    std::unique_ptr<GooFile> reader_;
};

class Renderer final : public PopplerRenderer::Document {
public:
    Renderer(std::unique_ptr<DocumentFile> file, std::unique_ptr<PDFDoc> document)
        : file_(std::move(file)), document_(std::move(document)),
          pageCount_(document_->getNumPages()) {}

    ~Renderer() override {
        const PopplerCall call;
        forgetDevice();
        profiles_.reset();
        document_.reset();
    }

    int pageCount() const override { return pageCount_; }

    std::optional<Rectangle> mediaBox(int number) override {
        const PopplerCall call;
        try {
            return mediaBoxOf(number);
        } catch (const std::exception&) {
            return std::nullopt;
        }
    }

    std::int64_t imagePixels(int number) override {
        const PopplerCall call;
        try {
            Page* page = pageNumber(number);
            return page ? imagePixelsOf(*page) : 0;
        } catch (const std::exception&) {
            return 0;
        }
    }

    std::optional<PageDescription> describe(int number) override {
        const PopplerCall call;
        try {
            const auto box = mediaBoxOf(number);
            if (!box)
                return std::nullopt;
            Page& page = *pageNumber(number);
            constexpr int circle = 360;
            return PageDescription{*box, (page.getRotate() % circle + circle) % circle,
                                   annotationsOf(page)};
        } catch (const std::exception&) {
            return std::nullopt;
        }
    }

    std::optional<ForeignColor> foreignColor(int number) override {
        const PopplerCall call;
        try {
            Page* page = pageNumber(number);
            if (!page)
                return std::nullopt;
            return ColorAudit::of(*document_, *page, number);
        } catch (const std::exception&) {
            return std::nullopt;
        }
    }

    RenderResult render(const RenderRequest& request, const OutputProfile& profile) override {
        const auto bytes = static_cast<std::size_t>(4 * request.size.width * request.rowCount);
        PixelBuffer rows = fitsMemory(request) ? PixelBuffer::zeroed(bytes) : PixelBuffer();
        if (!rows.data())
            return RenderFailure::tooLarge;
        if (const auto failure = draw(request, profile, {rows.data()}, Indivisible::drawWhole))
            return *failure;
        return rows;
    }

    std::optional<RenderFailure> draw(const RenderRequest& request, const OutputProfile& profile,
                                      const Canvas& canvas, Indivisible indivisible) override {
        const PopplerCall call;
        try {
            Page* page = pageNumber(request.page);
            if (!page)
                return RenderFailure::noSuchPage;
            indivisible_ = indivisible;
            return drawRows(request, *page, profile, canvas);
        } catch (const std::bad_alloc&) {
            forgetDevice();
            return RenderFailure::tooLarge;
        } catch (const std::exception&) {
            forgetDevice();
            return RenderFailure::failed;
        }
    }

private:
    std::optional<Rectangle> mediaBoxOf(int number) {
        const Page* page = pageNumber(number);
        if (!page)
            return std::nullopt;
        const PDFRectangle* box = page->getMediaBox();
        const Rectangle result = {std::min(box->x1, box->x2), std::min(box->y1, box->y2),
                                  std::abs(box->x2 - box->x1), std::abs(box->y2 - box->y1)};
        if (!std::isfinite(result.x + result.width) || !std::isfinite(result.y + result.height) ||
            !(result.width > 0) || !(result.height > 0))
            return std::nullopt;
        return result;
    }

    /// Whether to read the image costs far less than to convert and scale it, which each part of a
    /// page does for its own rows only, if the image is upright and opaque.
    static bool isQuicklyRead(const Dict& image) {
        const Object filter = image.lookup("Filter");
        const bool isJPEG =
            filter.isName("DCTDecode") || (filter.isArray() && filter.arrayGetLength() == 1 &&
                                           filter.arrayGet(0).isName("DCTDecode"));
        return isJPEG && !image.hasKey("SMask") && !image.hasKey("Mask");
    }

    static std::int64_t imagePixelsOf(Page& page) {
        Dict* resources = page.getResourceDict();
        const Object objects = resources ? resources->lookup("XObject") : Object(objNull);
        double pixels = 0;
        for (int i = 0; objects.isDict() && i < objects.dictGetLength(); ++i) {
            const Object object = objects.dictGetVal(i);
            const Dict* image = object.isStream() ? object.streamGetDict() : nullptr;
            if (!image || !image->lookup("Subtype").isName("Image") || isQuicklyRead(*image))
                continue;
            pixels += std::abs(image->lookup("Width").getNumWithDefaultValue(0) *
                               image->lookup("Height").getNumWithDefaultValue(0));
        }
        constexpr double most = 1LL << 40;
        return static_cast<std::int64_t>(std::min(pixels, most));
    }

    /// Where annotations print.
    static std::vector<Rectangle> annotationsOf(Page& page) {
        std::vector<Rectangle> areas;
        Annots* annotations = page.getAnnots();
        if (!annotations)
            return areas;
        for (const Annot* annotation : annotations->getAnnots()) {
            const Rectangle area = areaOf(annotation->getRect());
            if (!isPrinted(*annotation) || !(area.width > 0) || !(area.height > 0))
                continue;
            areas.push_back(area);
            if (areas.size() > mostAnnotationAreas)
                joinClosest(areas);
        }
        return areas;
    }

    /// Within bounds in which areas can be joined; empty when it is not made of numbers.
    static Rectangle areaOf(const PDFRectangle& box) {
        constexpr double most = 1e6;
        if (!std::isfinite(box.x1 + box.y1 + box.x2 + box.y2))
            return {};
        const double left = std::clamp(box.x1, -most, most);
        const double bottom = std::clamp(box.y1, -most, most);
        return {left, bottom, std::clamp(box.x2, -most, most) - left,
                std::clamp(box.y2, -most, most) - bottom};
    }

    /// By a viewer or Ghostscript: that makes up the appearance of some that lack one, and prints
    /// 3D artwork whatever its flags say.
    static bool isPrinted(const Annot& annotation) {
        const unsigned flags = annotation.getFlags();
        const Annot::AnnotSubtype type = annotation.getType();
        if ((flags & Annot::flagHidden) != 0 || type == Annot::typeLink || type == Annot::typePopup)
            return false;
        const bool canBeMadeUp =
            type == Annot::typeWidget || type == Annot::typePolygon || type == Annot::typePolyLine;
        return ((flags & Annot::flagPrint) != 0 || type == Annot::type3D) &&
               (canBeMadeUp || annotation.getAppearance().isStream());
    }

    static Rectangle enclosing(const Rectangle& first, const Rectangle& second) {
        const double left = std::min(first.x, second.x);
        const double bottom = std::min(first.y, second.y);
        return {left, bottom, std::max(first.x + first.width, second.x + second.width) - left,
                std::max(first.y + first.height, second.y + second.height) - bottom};
    }

    /// Makes one of the two areas that have the least between them.
    static void joinClosest(std::vector<Rectangle>& areas) {
        const auto size = [](const Rectangle& area) { return area.width * area.height; };
        double least = std::numeric_limits<double>::infinity();
        std::size_t first = 0;
        std::size_t second = 1;
        for (std::size_t i = 0; i < areas.size(); ++i) {
            for (std::size_t j = i + 1; j < areas.size(); ++j) {
                const double added =
                    size(enclosing(areas[i], areas[j])) - size(areas[i]) - size(areas[j]);
                if (added < least) {
                    least = added;
                    first = i;
                    second = j;
                }
            }
        }
        areas[first] = enclosing(areas[first], areas[second]);
        areas.erase(areas.begin() + static_cast<std::ptrdiff_t>(second));
    }

    Page* pageNumber(int number) {
        Page* page = number >= 1 && number <= pageCount_ ? document_->getPage(number) : nullptr;
        return page && page->isOk() ? page : nullptr;
    }

    void forgetDevice() {
        device_.reset();
        colors_.reset();
    }

    using Failure = std::optional<RenderFailure>;

    Failure drawRows(const RenderRequest& request, Page& page, const OutputProfile& profile,
                     const Canvas& canvas) {
        const std::int64_t rowBytes = 4 * request.size.width;
        if (rowBytes > largestBitmap || !fitsMemory(request))
            return RenderFailure::tooLarge;
        const std::int64_t mostRows =
            std::max<std::int64_t>(1, largestBitmap / rowBytes - 2 * rowsBeside);
        for (std::int64_t done = 0; done < request.rowCount; done += mostRows) {
            RenderRequest band = request;
            band.firstRow += done;
            band.rowCount = std::min(mostRows, request.rowCount - done);
            // Of several bands, one's room beside it is another's rows.
            const bool isAlone = band.rowCount == request.rowCount;
            if (const Failure failure =
                    drawBand(band, page, profile,
                             {canvas.rows + done * rowBytes, canvas.hasRoomBeside && isAlone}))
                return failure;
        }
        return std::nullopt;
    }

    static bool fitsMemory(const RenderRequest& request) {
        const std::uint64_t available = availableMemory();
        const auto width = static_cast<std::uint64_t>(request.size.width);
        const auto rows = static_cast<std::uint64_t>(request.rowCount);
        if (available <= workingMemory)
            return false;
        return rows <=
               (available - workingMemory) / bytesPerPixel / std::max<std::uint64_t>(1, width);
    }

    /// Draws the rows with some beside them, which are then left out: all that there are when the
    /// page turns out to need it.
    Failure drawBand(const RenderRequest& request, Page& page, const OutputProfile& profile,
                     const Canvas& canvas) {
        const std::int64_t rowBytes = 4 * request.size.width;
        const std::int64_t room = largestBitmap / rowBytes;
        const bool isWhole = request.rowCount == request.size.height;
        if (!isWhole && canBeWhole(request) && request.page == indivisiblePage_)
            return drawWhole(request, page, profile, canvas.rows);
        const Failure failure =
            drawWider(request, page, profile,
                      {request.rowCount + 2 * rowsBeside <= room ? rowsBeside : 0, canvas});
        if (!device_ || !device_->takeDependsOnRows() || isWhole || !canBeWhole(request) ||
            request.stop.stop_requested())
            return failure;
        indivisiblePage_ = request.page;
        return drawWhole(request, page, profile, canvas.rows);
    }

    Failure drawWhole(const RenderRequest& request, Page& page, const OutputProfile& profile,
                      std::uint8_t* rows) {
        if (indivisible_ == Indivisible::refuse)
            return RenderFailure::indivisible;
        return drawWider(request, page, profile, {request.size.height, {rows}});
    }

    static bool canBeWhole(const RenderRequest& request) {
        return request.size.height <= largestBitmap / (4 * request.size.width);
    }

    /// Where rows go, and how many beside them are drawn with them.
    struct Drawing {
        std::int64_t rowsBeside;
        Canvas canvas;
    };

    /// The canvas may be gone when the device draws again.
    struct LoanEnd {
        Device& device;
        ~LoanEnd() { device.takeMemoryBack(); }
    };

    Failure drawWider(const RenderRequest& request, Page& page, const OutputProfile& profile,
                      const Drawing& drawing) {
        const Rectangle& visible = request.placement.visible;
        if (!(visible.width > 0) || !(visible.height > 0)) {
            std::fill_n(drawing.canvas.rows, 4 * request.size.width * request.rowCount, 0);
            return std::nullopt;
        }
        if (profiles_ && !profiles_->output().isCopyOf(profile)) {
            forgetDevice();
            profiles_.reset();
        }
        if (!profiles_)
            profiles_ = std::make_unique<EmbeddedProfiles>(*document_, profile);
        const auto blending = blendingTarget(page, *profiles_);
        const Target target = blending.value_or(Target{profile.profile(), false, "output"});

        RenderRequest wider = request;
        wider.firstRow = std::max<std::int64_t>(0, request.firstRow - drawing.rowsBeside);
        wider.rowCount = std::min(request.size.height,
                                  request.firstRow + request.rowCount + drawing.rowsBeside) -
                         wider.firstRow;
        const std::int64_t first = request.firstRow - wider.firstRow;
        std::uint8_t* rows = drawing.canvas.rows;
        Device& device = deviceFor(target);
        const LoanEnd loanEnd = {device};
        if (drawing.canvas.hasRoomBeside && !target.isRGB)
            device.lendMemory(rows - first * 4 * request.size.width,
                              static_cast<int>(request.size.width),
                              static_cast<int>(wider.rowCount));
        interpret(wider, page, device);
        if (!isBitmapFor(wider, target, device.getBitmap()))
            return RenderFailure::tooLarge;
        if (!target.isRGB)
            device.finishRows(first, request.rowCount, rows);
        else if (!convertRows(*device.getBitmap(), target, first, request, rows))
            return RenderFailure::failed;
        return std::nullopt;
    }

    /// Poppler gives 1 × 1 in place of what it cannot have.
    static bool isBitmapFor(const RenderRequest& request, const Target& target,
                            SplashBitmap* bitmap) {
        return bitmap && bitmap->getDataPtr() && bitmap->getAlphaPtr() &&
               bitmap->getWidth() == request.size.width &&
               bitmap->getHeight() == request.rowCount &&
               bitmap->getRowSize() == (target.isRGB ? 3 : 4) * request.size.width;
    }

    /// The page as its group's RGB, converted as one picture.
    bool convertRows(SplashBitmap& bitmap, const Target& target, std::int64_t first,
                     const RenderRequest& request, std::uint8_t* rows) const {
        const auto converter = ColorConverter::create(target.profile, profiles_->output().profile(),
                                                      Intent::relativeColorimetric);
        if (converter)
            converter->convertPixelsByTable(
                bitmap.getDataPtr() + first * bitmap.getRowSize(), rows,
                static_cast<std::size_t>(request.size.width * request.rowCount));
        return converter != nullptr;
    }

    /// The device that composites in `target`; one is kept, since hardly any document changes
    /// between several.
    Device& deviceFor(const Target& target) {
        if (device_ && colors_->target().name == target.name)
            return *device_;
        device_.reset();
        colors_ = std::make_unique<ColorManager>(*profiles_, target);
        SplashColor paper = {};
        if (target.isRGB)
            std::fill_n(paper, 3, 255);
        device_ = std::make_unique<Device>(*document_, *colors_, paper);
        return *device_;
    }

    /// Why drawing might break off.
    struct Reasons {
        std::stop_token stop;
        const Device& device;
        /// Whether it is in vain when it depends on the rows drawn.
        bool isPart;
    };

    /// Poppler asks this between operators.
    static bool isStopped(void* pointer) {
        const auto& reasons = *static_cast<const Reasons*>(pointer);
        return reasons.stop.stop_requested() || (reasons.isPart && reasons.device.dependsOnRows());
    }

    void interpret(const RenderRequest& request, Page& page, Device& device) {
        const Rectangle& window = request.placement.window;
        const Rectangle& visible = request.placement.visible;
        const double pixelWidth = window.width / static_cast<double>(request.size.width);
        const double pixelHeight = window.height / static_cast<double>(request.size.height);
        const double left = window.x + tieBreaker * pixelWidth;
        const double top = window.y + window.height - tieBreaker * pixelHeight -
                           static_cast<double>(request.firstRow) * pixelHeight;
        const PDFRectangle box(left, top - static_cast<double>(request.rowCount) * pixelHeight,
                               left + window.width, top);
        const PDFRectangle clip(visible.x, visible.y, visible.x + visible.width,
                                visible.y + visible.height);
        Reasons reasons = {request.stop, device,
                           request.rowCount < request.size.height && canBeWhole(request)};
        constexpr double pointsPerInch = 72;
        const double horizontal = pointsPerInch / pixelWidth;
        const double vertical = pointsPerInch / pixelHeight;
        Gfx interpreter(document_.get(), &device, request.page, page.getResourceDict(), horizontal,
                        vertical, &box, &clip, 0, isStopped, &reasons);
        Object contents = page.getContents();
        if (!contents.isNull())
            interpreter.display(&contents);
    }

    std::unique_ptr<DocumentFile> file_;
    std::unique_ptr<PDFDoc> document_;
    int pageCount_;
    /// The page that was last found not to be the same when its rows are drawn apart.
    int indivisiblePage_ = 0;
    Indivisible indivisible_ = Indivisible::drawWhole;
    std::unique_ptr<EmbeddedProfiles> profiles_;
    std::unique_ptr<ColorManager> colors_;
    std::unique_ptr<Device> device_;
};

} // namespace

std::unique_ptr<PopplerRenderer::Document> PopplerRenderer::open(const std::filesystem::path& url) {
    // Without O_NONBLOCK, opening a named pipe that nobody writes to would wait for ever.
    return open(FileDescriptor(::open(url.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)));
}

std::unique_ptr<PopplerRenderer::Document> PopplerRenderer::open(FileDescriptor document,
                                                                 bool* needsPassword) {
    const PopplerCall call;
    try {
        auto file = std::make_unique<DocumentFile>(std::move(document));
        if (!file->isRegular())
            return nullptr;
        auto opened = std::make_unique<PDFDoc>(file->stream().release());
        if (needsPassword)
            *needsPassword = !opened->isOk() && opened->getErrorCode() == errEncrypted;
        if (!opened->isOk() || opened->getNumPages() < 1)
            return nullptr;
        return std::make_unique<Renderer>(std::move(file), std::move(opened));
    } catch (const std::exception&) { // such as a damaged document's idea of a length
        return nullptr;
    }
}

} // namespace Bleedwise
