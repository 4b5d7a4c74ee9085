#include "PrintPrep/PDFInspector.h"

#include "PrintPrep/PrintSettings.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/raster/RendererHelper.h"

#include <memory>
#include <mutex>
#include <utility>

namespace Bleedwise::PDFInspector {
namespace {

using namespace std::chrono_literals;

/// Far more than any document took; whoever adds files waits for it.
constexpr auto patience = 10s;

/// Files that are added together follow one another faster than this.
constexpr auto pause = 1s;

/// The process that measures documents. To start one, or to divide one in two, takes several times
/// as long as to measure a document, so it is kept for those that follow at once; it is renewed
/// after a pause, so that a document that takes it over can tell lies about its companions at most.
class Inspector {
public:
    std::optional<Rectangle> firstPage(const FileDescriptor& document) {
        const bool wasUsed = helper_ && RendererHelper::Clock::now() < lastUse_ + pause;
        try {
            return measure(document, wasUsed);
        } catch (const RendererHelper::Failure&) {
            const bool wasSilent = helper_ && RendererHelper::Clock::now() >= helper_->deadline();
            helper_.reset();
            if (!wasUsed || wasSilent)
                return std::nullopt;
        }
        // It may have been gone before, such as with the thread that had started it.
        try {
            return measure(document, false);
        } catch (const RendererHelper::Failure&) {
            helper_.reset();
            return std::nullopt;
        }
    }

private:
    std::optional<Rectangle> measure(const FileDescriptor& document, bool usesOld) {
        if (!usesOld) {
            helper_.reset();
            helper_ = std::make_unique<RendererHelper>(RendererHelper::executableURL());
        }
        RendererProtocol::Request request;
        request.kind = RendererProtocol::Kind::measureDocument;
        helper_->send(request, document.get(), patience);
        const RendererProtocol::Reply reply = helper_->receive();
        lastUse_ = RendererHelper::Clock::now();
        if (reply.status != RendererProtocol::Status::done)
            return std::nullopt;
        return reply.mediaBox;
    }

    std::unique_ptr<RendererHelper> helper_;
    RendererHelper::Clock::time_point lastUse_;
};

} // namespace

std::optional<PageSizeMM> firstPageSizeMM(const std::filesystem::path& url) {
    static std::mutex mutex;
    static Inspector inspector;
    const FileDescriptor document = openDocumentFile(url);
    if (!document)
        return std::nullopt;
    try {
        const std::lock_guard lock(mutex);
        const std::optional<Rectangle> box = inspector.firstPage(document);
        if (!box)
            return std::nullopt;
        return PageSizeMM{box->width / pointsPerMillimetre, box->height / pointsPerMillimetre};
    } catch (const FileSystemError&) {
        return std::nullopt;
    }
}

} // namespace Bleedwise::PDFInspector
