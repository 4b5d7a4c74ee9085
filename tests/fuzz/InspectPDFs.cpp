// Measures the first page of each file that it is given, in one process as the window does, and
// prints one line for each: the size in millimetres, or "none".

#include "PrintPrep/PDFInspector.h"

#include <cstdio>

int main(int argc, char** argv) {
    for (int index = 1; index < argc; ++index) {
        if (const auto size = Bleedwise::PDFInspector::firstPageSizeMM(argv[index]))
            std::printf("%.3f x %.3f\n", size->width, size->height);
        else
            std::puts("none");
    }
}
