#pragma once

#include <array>
#include <optional>

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// The two ways of converting. Not kept by itself: a view of the setting "useGhostscript".
namespace Bleedwise::ConversionMode {
Q_NAMESPACE
QML_ELEMENT

enum class Value {
    /// Through Ghostscript; text and vector artwork stay.
    Native,
    /// Every page as one bitmap.
    Raster,
};
Q_ENUM_NS(Value)

/// In the order in which a person is offered them.
inline constexpr std::array<Value, 2> allCases = {Value::Native, Value::Raster};

/// The mode's name, also its label: "Native" or "Raster".
QString rawValue(Value mode);

/// The mode of exactly this name.
std::optional<Value> fromRawValue(const QString& name);

} // namespace Bleedwise::ConversionMode
