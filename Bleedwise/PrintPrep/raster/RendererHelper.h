#pragma once

#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/HelperProcess.h"
#include "PrintPrep/raster/RendererProtocol.h"

#include <chrono>
#include <deque>
#include <exception>
#include <filesystem>

namespace Bleedwise {

/// One renderer process, which this object starts and whose end is this object's: it has died with
/// all that it held when the destructor returns. One thread; when the thread ends that made this
/// object, the renderer dies.
///
/// Requests may be sent ahead of the replies to earlier ones.
class RendererHelper {
public:
    using Clock = std::chrono::steady_clock;

    /// The renderer has died, has not answered in time, or has answered what it cannot have been
    /// asked. It is of no use any more.
    class Failure : public std::exception {
    public:
        const char* what() const noexcept override { return "The renderer failed."; }
    };

    /// The program "bleedwise-renderer" beside this one or in ../lib/bleedwise, else the one in the
    /// build tree; never one that is found along a search path. Looked up once.
    static const std::filesystem::path& executableURL();

    /// Starts it, without waiting until it is ready. Throws `FileSystemError` when it cannot be
    /// started.
    explicit RendererHelper(const std::filesystem::path& executable);

    /// Sends a request, with a copy of `attachment` unless that is −1. `patience` is how long the
    /// renderer may take for it, from when it has answered all before. Throws `Failure`.
    void send(const RendererProtocol::Request& request, int attachment,
              std::chrono::milliseconds patience);

    /// Requests without a reply so far.
    std::size_t outstanding() const noexcept { return expected_.size(); }
    /// When the next reply is overdue.
    Clock::time_point deadline() const noexcept { return deadline_; }
    /// The time from now on, as `poll` takes it.
    static int millisecondsUntil(Clock::time_point deadline);

    /// Whether `receive()` would not wait. Throws `Failure` when the reply is overdue.
    bool hasReply() const;

    /// Waits for the next reply until `deadline()`. Throws `Failure`.
    RendererProtocol::Reply receive();

    /// Can be read from when the next reply, or the renderer's end, is there.
    int descriptor() const noexcept { return process_.socket(); }

    /// Ends the renderer without waiting until it is gone.
    void kill() noexcept { process_.kill(); }

private:
    struct Expected {
        RendererProtocol::Kind kind;
        std::chrono::milliseconds patience;
    };

    /// After at most so long a wait.
    bool isReadable(int milliseconds) const;

    HelperProcess process_;
    std::deque<Expected> expected_;
    Clock::time_point deadline_;
};

/// The document at `url`, opened for reading; none when it is not a regular file or cannot be read.
FileDescriptor openDocumentFile(const std::filesystem::path& url);

} // namespace Bleedwise
