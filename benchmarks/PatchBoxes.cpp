// Sets the page boxes of one PDF in place, as the last step of a conversion does:
//
//   patch-boxes FILE

#include "PrintPrep/PDFBoxPatcher.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

int main(int argc, char** argv) {
    if (argc != 2)
        return EXIT_FAILURE;
    try {
        Bleedwise::PDFBoxPatcher::applyPrintBoxes(argv[1], {105, 148, 3}, true);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 127;
    }
}
