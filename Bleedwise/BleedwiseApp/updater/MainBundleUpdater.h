#pragma once

#include "BleedwiseApp/updater/StandardUpdaterController.h"

#include <functional>
#include <memory>

#include <QSslConfiguration>

namespace Bleedwise {

/// The updater that the running program's information dictionary describes, which starts with the
/// event loop. May be called before there is an application object. `tls` as in
/// `DownloadSurroundings`.
std::unique_ptr<StandardUpdaterController>
makeMainBundleUpdater(std::function<QSslConfiguration()> tls = {});

} // namespace Bleedwise
