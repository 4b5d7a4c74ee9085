#include "PrintPrep/platform/AvailableMemory.h"
#include "PrintPrep/platform/HelperProcess.h"
#include "PrintPrep/platform/Sandbox.h"
#include "PrintPrep/raster/RendererService.h"

#include <cstdint>
#include <cstdlib>

#include <unistd.h>

namespace {

/// The sanitizers reserve terabytes of addresses.
std::uint64_t memoryLimit() {
#ifdef __SANITIZE_ADDRESS__
    return Bleedwise::Sandbox::unlimitedMemory;
#else
    return Bleedwise::availableMemory();
#endif
}

} // namespace

/// Draws the pages of documents that nobody has reason to trust, for the process that has started
/// it with a socket and its own number. There is nothing to see or to do for anybody else.
int main(int argc, char** argv) {
    using namespace Bleedwise;
    if (argc != 2)
        return EXIT_FAILURE;
    const auto parent = static_cast<pid_t>(std::atoi(argv[1]));
    Sandbox::lockIn(parent, HelperProcess::socketDescriptor, memoryLimit());
    RendererService::serve(HelperProcess::socketDescriptor);
    ::_exit(EXIT_SUCCESS); // whatever there is to be tidied up goes with the process
}
