#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

/// The size fields that a person can edit.
namespace Bleedwise::DimensionField {
Q_NAMESPACE
QML_ELEMENT

enum class Value { Width, Height, Bleed };
Q_ENUM_NS(Value)

} // namespace Bleedwise::DimensionField
