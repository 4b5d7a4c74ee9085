#include "BleedwiseApp/SheetfoldApp.h"

#include "BleedwiseApp/SettingsMigration.h"
#include "BleedwiseApp/UpdaterModule.h"
#include "CommandLineConverter/CommandLineConverter.h"

namespace Bleedwise {

SheetfoldApp::SheetfoldApp() {
    SettingsMigration::runIfNeeded();
    CommandLineConverter::runIfRequested();
    desktop_ = DesktopModule::load();
    if (desktop_.sparkleConfigurationIsReady())
        updaterController_ = UpdaterModule::makeController();
}

int SheetfoldApp::run(int argc, char** argv) {
    return desktop_.run(argc, argv, updaterController_ ? updaterController_->updater() : nullptr);
}

} // namespace Bleedwise
