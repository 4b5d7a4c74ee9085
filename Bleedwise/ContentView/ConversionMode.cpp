#include "ContentView/ConversionMode.h"

#include <algorithm>

namespace Bleedwise::ConversionMode {

QString rawValue(Value mode) {
    return mode == Value::Native ? QStringLiteral("Native") : QStringLiteral("Raster");
}

std::optional<Value> fromRawValue(const QString& name) {
    const auto* const found = std::find_if(allCases.begin(), allCases.end(),
                                           [&](Value mode) { return rawValue(mode) == name; });
    return found == allCases.end() ? std::nullopt : std::optional(*found);
}

} // namespace Bleedwise::ConversionMode
