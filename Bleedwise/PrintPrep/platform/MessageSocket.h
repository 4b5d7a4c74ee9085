#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

#include <cstddef>
#include <optional>
#include <utility>

/// Messages between two processes, with boundaries between them: each is received as it was sent,
/// whole, or the receiver learns that it is not what was expected.
namespace Bleedwise::MessageSocket {

/// Two ends that are connected with each other. Throws `std::system_error`.
std::pair<FileDescriptor, FileDescriptor> makePair();

/// Sends `size` bytes and, unless it is −1, a copy of `descriptor`. Never waits. False when the
/// other side is gone or does not read.
bool send(int socket, const void* bytes, std::size_t size, int descriptor = -1) noexcept;

enum class Attachments {
    /// What the other side attaches is dropped.
    refused,
    /// One descriptor at most.
    allowed,
};

struct Received {
    FileDescriptor attachment;
};

/// Receives a message of exactly `size` bytes, for which it waits. Nothing when the other side is
/// gone, or for any other message, which is lost then.
std::optional<Received> receive(int socket, void* bytes, std::size_t size,
                                Attachments attachments) noexcept;

} // namespace Bleedwise::MessageSocket
