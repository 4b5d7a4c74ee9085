#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Bleedwise {

/// A PDF 1.4 file in the making: numbered objects of generation 0, one after another, and a classic
/// cross-reference table (ISO 32000-1, 7.5.4). Text goes to the disk as it comes, in large pieces.
///
/// Every operation throws `FileSystemError` when the file cannot be written; what has been written
/// stays.
class PDFObjectFile {
public:
    /// Creates the file, in place of one that is there, and writes its header. Throws
    /// `PrintPrepError::couldNotCreateOutput` when no file can be made at `url`.
    explicit PDFObjectFile(std::filesystem::path url);

    /// The next free object number, from 1 on. The object must be written before the end.
    int reserve();

    void begin(int object);
    void write(std::string_view bytes);
    void end();

    /// Bytes so far.
    std::int64_t size() const noexcept { return size_; }
    /// Takes back what has been written behind the first `size` bytes, within the current object.
    void truncate(std::int64_t size);

    /// Begins to give what there is so far to the disk, so that less is left for the end, when the
    /// file has to be on it.
    void store();

    /// Completes the file with its table and trailer, and gives what follows the table. To be
    /// called once, last. Throws `PrintPrepError::couldNotCreateOutput` when an offset needs more
    /// than the ten digits that an entry of the table has.
    std::string finish(int root);

    /// What `begin`, `write` and `end` make of an object.
    static std::string text(int object, std::string_view body);

    /// How one object names another.
    static std::string reference(int object) { return std::to_string(object) + " 0 R"; }

private:
    void flush();
    void beginStoring();
    [[noreturn]] void fail(int code) const;

    std::filesystem::path url_;
    FileDescriptor file_;
    std::string gathered_;
    std::int64_t size_ = 0;             // with what is gathered
    std::int64_t written_ = 0;          // without it
    std::int64_t stored_ = 0;           // given to the disk
    std::vector<std::int64_t> offsets_; // of object 1 on
};

} // namespace Bleedwise
