#include "ContentView/SettingsFile.h"

#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/StagedFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;

/// What is larger is no settings file. Every change copies the file.
constexpr std::size_t largestFile = 1U << 20U;

/// How long to wait for another instance's change, which takes a moment unless that instance hangs.
constexpr auto longestWait = std::chrono::milliseconds(500);

/// Empty when the user has none. See the XDG Base Directory Specification, which wants relative
/// paths ignored.
path settingsFolder() {
    const char* folder = std::getenv("XDG_CONFIG_HOME");
    if (folder && path(folder).is_absolute())
        return folder;
    const char* home = std::getenv("HOME");
    if (!home || !path(home).is_absolute()) {
        const passwd* user = ::getpwuid(::getuid());
        home = user ? user->pw_dir : nullptr;
    }
    return home && path(home).is_absolute() ? path(home) / ".config" : path();
}

/// Creates what is missing, for the user alone.
void createFolder(const path& folder) {
    if (folder.empty() || ::mkdir(folder.c_str(), 0700) == 0 || errno != ENOENT)
        return;
    createFolder(folder.parent_path());
    ::mkdir(folder.c_str(), 0700);
}

/// Without waiting for whatever takes the file's place.
FileDescriptor open(const path& url, int flags) {
    return FileDescriptor(::open(url.c_str(), flags | O_NONBLOCK | O_CLOEXEC, 0600));
}

/// Nothing unless it is a regular file of moderate size.
std::optional<std::string> contents(const FileDescriptor& file) {
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::size_t>(status.st_size) > largestFile)
        return std::nullopt;
    std::string bytes;
    std::array<char, 4096> block{};
    ssize_t count = 0;
    while ((count = ::read(file.get(), block.data(), block.size())) > 0)
        bytes.append(block.data(), static_cast<std::size_t>(count));
    return count == 0 ? std::optional(std::move(bytes)) : std::nullopt;
}

// The lines of an INI file.

struct Entry {
    std::string_view key;
    std::string_view value;
    /// The line's bytes, without its end.
    std::size_t start = 0;
    std::size_t end = 0;
};

struct Document {
    /// Those under [General], or above the first section, which means the same.
    std::vector<Entry> entries;
    /// Where a further one can follow, if there is a place for them.
    std::optional<std::size_t> end;
};

constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool isGeneral(std::string_view section) {
    constexpr std::string_view general = "general";
    return std::equal(section.begin(), section.end(), general.begin(), general.end(),
                      [](char left, char right) { return (left | 0x20) == right; });
}

Document parsed(std::string_view text) {
    Document document;
    bool inGeneral = true;
    std::size_t start = text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string_view line = trimmed(text.substr(start, end - start));
        const std::size_t equals = line.find('=');
        if (line.starts_with('[')) {
            inGeneral = isGeneral(trimmed(line.substr(1, line.find(']') - 1)));
            if (inGeneral)
                document.end = end;
        } else if (inGeneral && !line.starts_with(';') && equals != std::string_view::npos) {
            document.entries.push_back(
                {trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)), start, end});
            document.end = end;
        }
        start = end + 1;
    }
    return document;
}

/// The text with one value changed or added.
std::string withValue(std::string text, std::string_view key, std::string_view value) {
    const std::string line = std::string(key) + '=' + std::string(value);
    const Document document = parsed(text);
    // Of several lines with one key the last one counts.
    const auto entry = std::find_if(document.entries.rbegin(), document.entries.rend(),
                                    [&](const Entry& other) { return other.key == key; });
    if (entry != document.entries.rend())
        return text.replace(entry->start, entry->end - entry->start, line);
    if (document.end)
        return text.insert(*document.end, '\n' + line + (*document.end == text.size() ? "\n" : ""));
    const std::size_t top = text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    return text.insert(top, "[General]\n" + line + (text.size() > top ? "\n\n" : "\n"));
}

SettingsFile::Values valuesOf(std::string_view text) {
    SettingsFile::Values values;
    for (const Entry& entry : parsed(text).entries)
        values.insert_or_assign(std::string(entry.key), std::string(entry.value));
    return values;
}

// Changing the file.

/// Whether no other instance is changing the file now. The lock ends with the descriptor.
bool lock(const FileDescriptor& file) {
    const auto deadline = std::chrono::steady_clock::now() + longestWait;
    while (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK)
            return true; // a file system without locks: a change is better unguarded than lost
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/// Opens the file, and creates it if need be, for this instance alone. Nothing when that cannot be.
FileDescriptor openForChange(const path& url) {
    createFolder(url.parent_path());
    for (;;) {
        FileDescriptor file = open(url, O_RDWR | O_CREAT);
        struct stat opened = {};
        struct stat current = {};
        if (!file || ::fstat(file.get(), &opened) != 0 || !S_ISREG(opened.st_mode) || !lock(file))
            return {};
        // Another instance may have replaced the file before it gave up its lock.
        if (::stat(url.c_str(), &current) == 0 && current.st_ino == opened.st_ino &&
            current.st_dev == opened.st_dev)
            return file;
    }
}

/// Puts new bytes in the file's place. A link stays a link.
void replace(const path& url, const FileDescriptor& file, std::string_view bytes) {
    struct stat status = {};
    ::fstat(file.get(), &status);
    StagedFile staged(std::filesystem::canonical(url), status.st_mode & 07777U);
    staged.append(bytes);
    staged.commit(Durability::deferred);
}

} // namespace

SettingsFile::SettingsFile(std::string_view domain) {
    if (const path folder = settingsFolder(); !folder.empty())
        url_ = folder / (std::string(domain) + ".conf");
    if (const std::optional<std::string> text = contents(open(url_, O_RDONLY)))
        values_ = valuesOf(*text);
}

std::optional<std::string> SettingsFile::value(std::string_view key) const {
    const auto found = values_.find(key);
    return found != values_.end() ? std::optional(found->second) : std::nullopt;
}

void SettingsFile::set(const Values& values, const Values& missing) {
    for (const auto& [key, value] : values) {
        values_.insert_or_assign(key, value);
        unsaved_.insert_or_assign(key, value);
    }
    values_.insert(missing.begin(), missing.end());
    if (store(unsaved_, missing))
        unsaved_.clear();
}

bool SettingsFile::store(const Values& values, const Values& missing) const {
    if (url_.empty())
        return false;
    try {
        const FileDescriptor file = openForChange(url_);
        std::optional<std::string> text = contents(file);
        if (!text)
            return false;
        const Values present = valuesOf(*text);
        for (const auto& [key, value] : missing) {
            if (!present.contains(key))
                text = withValue(std::move(*text), key, value);
        }
        for (const auto& [key, value] : values)
            text = withValue(std::move(*text), key, value);
        if (text->size() > largestFile) // it would never be read again
            return false;
        replace(url_, file, *text);
        return true;
    } catch (const std::exception&) { // a full disk, a folder that may not be written
        return false;
    }
}

} // namespace Bleedwise
