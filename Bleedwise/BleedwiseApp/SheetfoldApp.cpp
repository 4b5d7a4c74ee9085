#include "BleedwiseApp/SheetfoldApp.h"

#include "BleedwiseApp/DesktopModule.h"
#include "BleedwiseApp/SettingsMigration.h"
#include "CommandLineConverter/CommandLineConverter.h"

namespace Bleedwise {

SheetfoldApp::SheetfoldApp() {
    SettingsMigration::runIfNeeded();
    CommandLineConverter::runIfRequested();
}

int SheetfoldApp::run(int argc, char** argv) {
    return DesktopModule::load()(argc, argv);
}

} // namespace Bleedwise
