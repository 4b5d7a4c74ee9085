#pragma once

#include "PrintPrep/raster/ColorConverter.h"

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>

namespace Bleedwise {

/// The colour converters used last, so that a document that names a profile on every page, or that
/// embeds it in every image, pays for it once. One thread.
class ConverterCache {
public:
    /// The converter known under `name`, which tells source, destination and intent; else what
    /// `make` gives, which may be nothing and is remembered as such.
    std::shared_ptr<const ColorConverter>
    get(const std::string& name,
        const std::function<std::shared_ptr<const ColorConverter>()>& make);

private:
    /// A converter with its tables holds some 3 MB.
    static constexpr std::size_t capacity = 12;

    using Entry = std::pair<std::string, std::shared_ptr<const ColorConverter>>;
    std::list<Entry> entries_; // the one used last comes first
};

} // namespace Bleedwise
