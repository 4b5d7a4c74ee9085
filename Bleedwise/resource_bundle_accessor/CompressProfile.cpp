// Writes the file that lies compressed beside a profile: compress-profile PROFILE FILE

#include "resource_bundle_accessor/PrecompressedProfile.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

int main(int argc, char** argv) {
    if (argc != 3)
        return EXIT_FAILURE;
    std::ostringstream profile;
    profile << std::ifstream(argv[1], std::ios::binary).rdbuf();
    if (profile.view().empty()) {
        std::cerr << "compress-profile: cannot read " << argv[1] << '\n';
        return EXIT_FAILURE;
    }
    std::ofstream file(argv[2], std::ios::binary | std::ios::trunc);
    file << Bleedwise::PrecompressedProfile::file(profile.view());
    file.close();
    if (!file)
        std::cerr << "compress-profile: cannot write " << argv[2] << '\n';
    return file ? EXIT_SUCCESS : EXIT_FAILURE;
}
