#pragma once

#include <exception>
#include <string>
#include <utility>

namespace Bleedwise {

/// Base of every failure that a person may see.
///
/// `errorDescription()` is the exact text to show, in English, in UTF-8 apart from file names,
/// which are bytes and appear as they are.
class LocalizedError : public std::exception {
public:
    const std::string& errorDescription() const noexcept { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

protected:
    explicit LocalizedError(std::string description) : description_(std::move(description)) {}

private:
    std::string description_;
};

} // namespace Bleedwise
