// Prints where ProfileResolver finds the profile, seen from wherever this program has been copied
// to. The lookup keeps what it finds for the life of the process and starts at the executable's
// folder, so that only a program of its own can show it.

#include "PrintPrep/ProfileResolver.h"

#include <array>
#include <iostream>
#include <thread>

int main() {
    using Lookup = decltype(Bleedwise::ProfileResolver::fogra39URL());
    std::array<Lookup, 8> found;
    std::array<std::thread, found.size()> threads;
    for (std::size_t index = 0; index < found.size(); ++index)
        threads[index] =
            std::thread([&, index] { found[index] = Bleedwise::ProfileResolver::fogra39URL(); });
    for (std::thread& thread : threads)
        thread.join();
    for (const Lookup& other : found) {
        if (other != found.front())
            return 2;
    }
    std::cout << (found.front() ? found.front()->native() : "nothing");
}
