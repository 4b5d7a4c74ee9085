#pragma once

#include "PrintPrep/platform/LocalizedError.h"

#include <string>
#include <utility>

namespace Bleedwise {

/// A missing or unreadable command-line argument.
class ArgumentError : public LocalizedError {
public:
    static ArgumentError message(std::string text) { return ArgumentError(std::move(text)); }

private:
    explicit ArgumentError(std::string text) : LocalizedError(std::move(text)) {}
};

} // namespace Bleedwise
