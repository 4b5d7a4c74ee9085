#include "PrintPrep/PDFBoxPatcher.h"

#include "PrintPrep/Format.h"
#include "PrintPrep/PDFPatterns.h"
#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/MappedFile.h"
#include "PrintPrep/platform/StagedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Bleedwise::PDFBoxPatcher {
namespace {

/// A cross-reference entry holds a byte offset of ten decimal digits (ISO 32000-1, 7.5.4).
constexpr std::int64_t largestOffset = 9'999'999'999;

/// The finest step in which `Format::points` writes, in points.
constexpr double smallestSize = 1e-6;

/// The largest integer of a PDF (ISO 32000-1, table C.1), in points; up to here a box keeps its
/// sixth decimal.
constexpr double largestSize = 2'147'483'647;

bool makesPage(const PrintSettings& settings) {
    const double width = settings.trimWidthMM * pointsPerMillimetre;
    const double height = settings.trimHeightMM * pointsPerMillimetre;
    const double bleed = settings.bleedMM * pointsPerMillimetre;
    return width >= smallestSize && height >= smallestSize && bleed >= 0 &&
           width + 2 * bleed <= largestSize && height + 2 * bleed <= largestSize;
}

void refuseUnusable(const PrintSettings& settings, std::int64_t fileSize) {
    if (!makesPage(settings) || fileSize > largestOffset)
        throw PrintPrepError::couldNotPatchPDFBoxes();
}

std::string array(std::initializer_list<double> points) {
    std::string text = "[";
    for (const double number : points)
        text += (text.size() > 1 ? " " : "") + Format::points(number);
    return text + "]";
}

std::string tenDigits(std::int64_t offset) {
    if (offset > largestOffset)
        throw PrintPrepError::couldNotPatchPDFBoxes();
    const std::string digits = std::to_string(offset);
    return std::string(10 - digits.size(), '0') + digits;
}

/// Gives a page dictionary its new boxes; false when there is no dictionary in it.
bool rewriteBoxes(std::string& body, const std::string& boxes) {
    for (const char* key : {"/MediaBox", "/CropBox", "/BleedBox", "/TrimBox", "/ArtBox"})
        PDFPatterns::removeInlineArrays(body, key);
    const std::size_t dictionary = body.find("<<");
    if (dictionary == std::string::npos)
        return false;
    body.insert(dictionary + 2, " " + boxes);
    return true;
}

/// How many bytes of a file are read before their memory is given back, so that a long document
/// takes no more of it than a short one.
constexpr std::size_t window = 4U << 20U;

using AfterObject = std::function<void(const char* end)>;

/// `pageObjectUpdates`, which calls `afterObject` with the end of each object's body.
std::vector<PageObjectUpdate> collectUpdates(std::string_view text, const std::string& boxes,
                                             const AfterObject& afterObject) {
    std::vector<PageObjectUpdate> updates;
    PDFPatterns::forEachObject(text, [&](std::string_view number, std::string_view body) {
        if (const auto object = PDFPatterns::integer(number); object && isPageDictionary(body)) {
            PageObjectUpdate update{*object, {}};
            update.body.reserve(body.size() + 1 + boxes.size());
            update.body = body;
            if (rewriteBoxes(update.body, boxes))
                updates.push_back(std::move(update));
        }
        afterObject(body.data() + body.size());
    });
    return updates;
}

/// The incremental update that follows `fileSize` bytes of existing file.
std::string updateText(std::int64_t fileSize, const std::vector<PageObjectUpdate>& updates,
                       const std::optional<TrailerInfo>& trailer) {
    if (updates.empty() || !trailer)
        throw PrintPrepError::couldNotPatchPDFBoxes();
    std::string text;
    const auto offset = [&] { return fileSize + static_cast<std::int64_t>(text.size()); };

    std::vector<std::pair<std::int64_t, std::int64_t>> entries; // object number and its offset
    for (const PageObjectUpdate& update : updates) {
        entries.emplace_back(update.object, offset());
        text += std::to_string(update.object) + " 0 obj\n" + update.body + "\nendobj\n";
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });

    const std::int64_t crossReference = offset();
    text += "xref\n";
    for (const auto& [object, position] : entries)
        text += std::to_string(object) + " 1\n" + tenDigits(position) + " 00000 n \n";
    text += "trailer\n<< /Size " + std::to_string(trailer->size) + " /Root " +
            std::to_string(trailer->rootObject) + " " + std::to_string(trailer->rootGeneration) +
            " R /Prev " + std::to_string(trailer->previousStartXref) + " >>\n";
    return text + "startxref\n" + std::to_string(crossReference) + "\n%%EOF\n";
}

/// Writes behind the file's bytes; takes off again what does not fit.
void extend(const std::filesystem::path& url, std::int64_t size, std::string_view text) {
    FileDescriptor file(::open(url.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (!file)
        throw FileSystemError("write", url, errno);
    while (!text.empty()) {
        const ssize_t written = ::write(file.get(), text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            const int code = written == 0 ? EIO : errno;
            [[maybe_unused]] const int ignored = ::ftruncate(file.get(), size);
            throw FileSystemError("write", url, code);
        }
    }
    if (const int code = file.close())
        throw FileSystemError("write", url, code);
}

/// The file itself where `url` is a link to it: replacing the link would leave the file as it was.
std::filesystem::path linkTarget(const std::filesystem::path& url) {
    std::error_code error;
    std::filesystem::path target = std::filesystem::canonical(url, error);
    if (error)
        throw FileSystemError("read", url, error.value());
    return target;
}

} // namespace

void applyPrintBoxes(const std::filesystem::path& url, const PrintSettings& settings,
                     bool positiveMediaBoxes, Writing writing) {
    const std::filesystem::path target = linkTarget(url);
    const MappedFile file(target);
    const auto size = static_cast<std::int64_t>(file.bytes().size());
    refuseUnusable(settings, size);
    std::size_t released = 0;
    const auto releaseBehind = [&](const char* end) {
        const auto read = static_cast<std::size_t>(end - file.bytes().data());
        if (read >= released + window)
            file.release(released = read);
    };
    const auto updates =
        collectUpdates(file.bytes(), boxString(settings, positiveMediaBoxes), releaseBehind);
    const std::string update = updateText(size, updates, trailerInfo(file.bytes()));
    if (writing == Writing::inPlace)
        return extend(target, size, update);
    StagedFile patched(target, file.permissions());
    patched.append(file);
    patched.append(update);
    patched.commit(Durability::processFailure);
}

void appendPrintBoxes(const std::filesystem::path& url, std::int64_t size, std::string_view excerpt,
                      const PrintSettings& settings, bool positiveMediaBoxes) {
    const std::filesystem::path target = linkTarget(url);
    refuseUnusable(settings, size);
    const auto updates = pageObjectUpdates(excerpt, settings, positiveMediaBoxes);
    extend(target, size, updateText(size, updates, trailerInfo(excerpt)));
}

std::vector<PageObjectUpdate>
pageObjectUpdates(std::string_view text, const PrintSettings& settings, bool positiveMediaBoxes) {
    return collectUpdates(text, boxString(settings, positiveMediaBoxes), [](const char*) {});
}

std::string boxString(const PrintSettings& settings, bool positiveMediaBoxes) {
    const double k = pointsPerMillimetre;
    const double w = settings.trimWidthMM;
    const double h = settings.trimHeightMM;
    const double b = settings.bleedMM;
    const double bleed = b * k;
    const std::string media = positiveMediaBoxes
                                  ? array({0, 0, (w + (b + b)) * k, (h + (b + b)) * k})
                                  : array({-bleed, -bleed, w * k + bleed, h * k + bleed});
    const std::string trim = positiveMediaBoxes
                                 ? array({bleed, bleed, w * k + bleed, h * k + bleed})
                                 : array({0, 0, w * k, h * k});
    return "/MediaBox " + media + " /CropBox " + media + " /BleedBox " + media + " /TrimBox " +
           trim + " ";
}

bool isPageDictionary(std::string_view body) {
    return body.find("stream") == std::string_view::npos && PDFPatterns::namesTypePage(body);
}

std::optional<TrailerInfo> trailerInfo(std::string_view text) {
    const auto startXref = PDFPatterns::lastStartXref(text);
    const auto body = PDFPatterns::lastTrailerBody(text);
    if (!startXref || !body)
        return std::nullopt;
    const auto size = PDFPatterns::firstNumber(*body, "/Size");
    const auto root = PDFPatterns::firstReference(*body, "/Root");
    if (!size || !root)
        return std::nullopt;

    const auto previousStartXref = PDFPatterns::integer(*startXref);
    const auto sizeValue = PDFPatterns::integer(*size);
    const auto rootObject = PDFPatterns::integer(root->first);
    const auto rootGeneration = PDFPatterns::integer(root->second);
    if (!previousStartXref || !sizeValue || !rootObject || !rootGeneration)
        return std::nullopt;
    return TrailerInfo{*sizeValue, *rootObject, *rootGeneration, *previousStartXref};
}

} // namespace Bleedwise::PDFBoxPatcher
