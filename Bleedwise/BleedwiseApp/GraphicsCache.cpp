#include "BleedwiseApp/GraphicsCache.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QString>
#include <QtGlobal>

namespace Bleedwise::GraphicsCache {
namespace {

constexpr auto saveVariable = "QSG_RHI_PIPELINE_CACHE_SAVE";
constexpr auto loadVariable = "QSG_RHI_PIPELINE_CACHE_LOAD";

} // namespace

void use() {
    if (qEnvironmentVariableIsSet(saveVariable) || qEnvironmentVariableIsSet(loadVariable))
        return;
    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::CacheLocation));
    if (!folder.mkpath(QStringLiteral(".")))
        return;
    const QString file = folder.filePath(QStringLiteral("pipelines"));
    qputenv(saveVariable, QFile::encodeName(file));
    if (QFile::exists(file)) // Qt would complain
        qputenv(loadVariable, QFile::encodeName(file));
}

} // namespace Bleedwise::GraphicsCache
