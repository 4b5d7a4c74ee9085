#pragma once

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <sys/resource.h>

namespace Bleedwise::Testing {

/// Lowers one of this process's resource limits for the length of a scope.
class ResourceLimit {
public:
    /// `resource` and `value` are those of `setrlimit`.
    ResourceLimit(__rlimit_resource resource, rlim_t value) : resource_(resource) {
        ::getrlimit(resource_, &previous_);
        rlimit lowered = previous_;
        lowered.rlim_cur = std::min(value, previous_.rlim_cur);
        if (::setrlimit(resource_, &lowered) != 0)
            throw std::runtime_error("could not set a resource limit");
    }
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;
    ~ResourceLimit() { ::setrlimit(resource_, &previous_); }

private:
    __rlimit_resource resource_;
    rlimit previous_ = {};
};

/// No file of this process grows past `bytes` for the length of a scope: a write that would exceed
/// it is cut short there and the next one fails with EFBIG, much as on a disk that becomes full.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
        : previousHandler_(std::signal(SIGXFSZ, SIG_IGN)), limit_(RLIMIT_FSIZE, bytes) {}
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() { std::signal(SIGXFSZ, previousHandler_); }

private:
    void (*previousHandler_)(int);
    ResourceLimit limit_;
};

} // namespace Bleedwise::Testing
