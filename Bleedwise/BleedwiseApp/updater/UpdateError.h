#pragma once

#include "PrintPrep/platform/LocalizedError.h"

#include <QString>

namespace Bleedwise {

/// What went wrong with an update, in one sentence for the user.
class UpdateError : public LocalizedError {
public:
    explicit UpdateError(const QString& sentence) : LocalizedError(sentence.toStdString()) {}

    QString sentence() const { return QString::fromStdString(errorDescription()); }
};

} // namespace Bleedwise
