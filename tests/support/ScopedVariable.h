#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace Bleedwise::Testing {

/// Sets an environment variable of this process, or removes it, for the length of a scope.
class ScopedVariable {
public:
    ScopedVariable(std::string name, const std::optional<std::string>& value)
        : name_(std::move(name)) {
        if (const char* previous = std::getenv(name_.c_str()))
            previous_ = previous;
        put(value);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() { put(previous_); }

private:
    void put(const std::optional<std::string>& value) const {
        if (value)
            ::setenv(name_.c_str(), value->c_str(), 1);
        else
            ::unsetenv(name_.c_str());
    }

    std::string name_;
    std::optional<std::string> previous_;
};

} // namespace Bleedwise::Testing
