#pragma once

#include "PrintPrep/platform/LocalizedError.h"

#include <string>
#include <utility>

/// Parts of the program that are libraries of their own beside the executable, so that a run only
/// loads what it uses.
namespace Bleedwise::ModuleLibrary {

/// The library is missing or cannot be loaded.
class LoadError : public LocalizedError {
public:
    explicit LoadError(std::string description) : LocalizedError(std::move(description)) {}
};

/// Loads a library for good, from the application folder or else from its neighbour
/// ../lib/bleedwise.
void* load(const char* libraryName);

/// A function of a loaded library.
void* function(void* library, const char* name);

} // namespace Bleedwise::ModuleLibrary
