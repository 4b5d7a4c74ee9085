#include "PrintPrep/raster/ConverterCache.h"

#include <algorithm>

namespace Bleedwise {

std::shared_ptr<const ColorConverter>
ConverterCache::get(const std::string& name,
                    const std::function<std::shared_ptr<const ColorConverter>()>& make) {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.first == name; });
    if (found != entries_.end()) {
        entries_.splice(entries_.begin(), entries_, found);
    } else {
        entries_.emplace_front(name, make());
        if (entries_.size() > capacity)
            entries_.pop_back();
    }
    return entries_.front().second;
}

} // namespace Bleedwise
