#include "PrintPrep/platform/MessageSocket.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <sys/socket.h>
#include <sys/uio.h>

namespace Bleedwise::MessageSocket {
namespace {

/// Room for one descriptor beside a message (cmsg(3)).
struct Control {
    alignas(cmsghdr) std::array<unsigned char, CMSG_SPACE(sizeof(int))> bytes = {};
};

/// Takes the descriptors out of a received message; all but one are closed at once.
FileDescriptor attachmentOf(msghdr& message) {
    FileDescriptor attachment;
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t index = 0; index < count; ++index) {
            int descriptor = -1;
            std::memcpy(&descriptor, CMSG_DATA(header) + index * sizeof(int), sizeof(int));
            attachment = FileDescriptor(descriptor);
        }
    }
    return attachment;
}

} // namespace

std::pair<FileDescriptor, FileDescriptor> makePair() {
    std::array<int, 2> ends = {};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::system_error(errno, std::generic_category());
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

bool send(int socket, const void* bytes, std::size_t size, int descriptor) noexcept {
    iovec content = {const_cast<void*>(bytes), size};
    Control control;
    msghdr message = {};
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = control.bytes.data();
        message.msg_controllen = control.bytes.size();
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof descriptor);
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    ssize_t sent = -1;
    do
        sent = ::sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(size);
}

std::optional<Received> receive(int socket, void* bytes, std::size_t size,
                                Attachments attachments) noexcept {
    iovec content = {bytes, size};
    Control control;
    msghdr message = {};
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    if (attachments == Attachments::allowed) {
        message.msg_control = control.bytes.data();
        message.msg_controllen = control.bytes.size();
    }
    ssize_t count = -1;
    do
        count = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
    while (count < 0 && errno == EINTR);
    if (count < 0)
        return std::nullopt;
    Received received = {attachmentOf(message)};
    if (count != static_cast<ssize_t>(size) || (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0)
        return std::nullopt;
    return received;
}

} // namespace Bleedwise::MessageSocket
