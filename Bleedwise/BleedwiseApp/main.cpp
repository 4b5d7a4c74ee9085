#include "CommandLineConverter/CommandLineConverter.h"
#include "PrintPrep/platform/LocalizedError.h"
#include "PrintPrep/platform/ProcessInfo.h"

#include <cstdlib>
#include <iostream>

int main() {
    Bleedwise::ProcessInfo::openMissingStandardStreams();
    try {
        Bleedwise::CommandLineConverter::runIfRequested();
    } catch (const Bleedwise::LocalizedError& error) { // the system does not tell the arguments
        std::cerr << "ERROR: " << error.errorDescription() << '\n';
        return EXIT_FAILURE;
    }
    std::cerr << "This version of Bleedwise has no window. To convert a file: "
                 "bleedwise --convert FILE --width MM --height MM\n";
    return EXIT_FAILURE;
}
