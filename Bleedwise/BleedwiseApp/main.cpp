#include "BleedwiseApp/SheetfoldApp.h"
#include "PrintPrep/platform/LocalizedError.h"
#include "PrintPrep/platform/ProcessInfo.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    Bleedwise::ProcessInfo::openMissingStandardStreams();
    try {
        return Bleedwise::SheetfoldApp().run(argc, argv);
    } catch (const Bleedwise::LocalizedError& error) {
        std::cerr << "ERROR: " << error.errorDescription() << '\n';
        return EXIT_FAILURE;
    }
}
