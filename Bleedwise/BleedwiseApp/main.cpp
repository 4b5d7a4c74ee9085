#include "CommandLineConverter/CommandLineConverter.h"
#include "PrintPrep/platform/ProcessInfo.h"

#include <cstdlib>
#include <iostream>

int main() {
    Bleedwise::ProcessInfo::openMissingStandardStreams();
    Bleedwise::CommandLineConverter::runIfRequested();
    std::cerr << "This version of Bleedwise has no window. To convert a file: "
                 "bleedwise --convert FILE --width MM --height MM\n";
    return EXIT_FAILURE;
}
