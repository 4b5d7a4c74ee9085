#include "PrintPrep/raster/PDFObjectFile.h"

#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/FileSystemError.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

constexpr std::int64_t largestOffset = 9'999'999'999;

/// Pieces up to this size, in bytes, share a write.
constexpr std::size_t largestGathered = 256U << 10U;

/// Linux moves at most 0x7ffff000 bytes in one write.
constexpr std::size_t largestWrite = 64U << 20U;

/// So many bytes are given to the disk at a time while others are made, so that little is left for
/// the end, when the file has to be on it.
constexpr std::int64_t storedAtOnce = 8 << 20;

constexpr std::string_view tail = "\nendobj\n";

std::string head(int object) {
    return std::to_string(object) + " 0 obj\n";
}

std::string tableEntry(std::int64_t offset) {
    const std::string digits = std::to_string(offset);
    return std::string(10 - digits.size(), '0') + digits + " 00000 n \n";
}

} // namespace

PDFObjectFile::PDFObjectFile(std::filesystem::path url)
    : url_(std::move(url)),
      file_(::open(url_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
    if (!file_)
        throw PrintPrepError::couldNotCreateOutput();
    // The comment of bytes above 127 marks the file as binary (ISO 32000-1, 7.5.2).
    write("%PDF-1.4\n%\xe2\xe3\xcf\xd3\n");
}

int PDFObjectFile::reserve() {
    offsets_.push_back(0);
    return static_cast<int>(offsets_.size());
}

void PDFObjectFile::begin(int object) {
    offsets_[static_cast<std::size_t>(object) - 1] = size_;
    write(head(object));
}

void PDFObjectFile::end() {
    write(tail);
}

std::string PDFObjectFile::text(int object, std::string_view body) {
    return head(object).append(body).append(tail);
}

void PDFObjectFile::write(std::string_view bytes) {
    size_ += static_cast<std::int64_t>(bytes.size());
    while (!bytes.empty()) {
        if (gathered_.size() == largestGathered)
            flush();
        const std::size_t fitting = std::min(bytes.size(), largestGathered - gathered_.size());
        gathered_ += bytes.substr(0, fitting);
        bytes.remove_prefix(fitting);
    }
}

void PDFObjectFile::truncate(std::int64_t size) {
    flush();
    if (::ftruncate(file_.get(), size) != 0 || ::lseek(file_.get(), size, SEEK_SET) < 0)
        fail(errno);
    size_ = written_ = size;
    stored_ = std::min(stored_, size);
}

std::string PDFObjectFile::finish(int root) {
    const std::int64_t table = size_;
    if (table > largestOffset)
        throw PrintPrepError::couldNotCreateOutput();
    write("xref\n0 " + std::to_string(offsets_.size() + 1) + "\n0000000000 65535 f \n");
    for (const std::int64_t offset : offsets_)
        write(tableEntry(offset));
    std::string trailer = "trailer\n<< /Size " + std::to_string(offsets_.size() + 1) + " /Root " +
                          reference(root) + " >>\nstartxref\n" + std::to_string(table) +
                          "\n%%EOF\n";
    write(trailer);
    flush();
    if (const int code = file_.close())
        fail(code); // network file systems report a full disk only here
    return trailer;
}

void PDFObjectFile::flush() {
    std::string_view bytes = gathered_;
    while (!bytes.empty()) {
        const ssize_t written =
            ::write(file_.get(), bytes.data(), std::min(bytes.size(), largestWrite));
        if (written > 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (written == 0 || errno != EINTR)
            fail(written == 0 ? EIO : errno);
    }
    written_ += static_cast<std::int64_t>(gathered_.size());
    gathered_.clear();
    if (written_ >= stored_ + storedAtOnce)
        beginStoring();
}

void PDFObjectFile::store() {
    flush();
    beginStoring();
}

void PDFObjectFile::beginStoring() {
    ::sync_file_range(file_.get(), stored_, written_ - stored_, SYNC_FILE_RANGE_WRITE);
    stored_ = written_;
}

void PDFObjectFile::fail(int code) const {
    throw FileSystemError("write", url_, code);
}

} // namespace Bleedwise
