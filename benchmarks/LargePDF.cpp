// Writes a valid one-page PDF of about the given size, most of it one incompressible stream:
//
//   large-pdf FILE MEBIBYTES

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 3)
        return EXIT_FAILURE;
    std::ofstream file(argv[1], std::ios::binary);
    const std::uint64_t mebibytes = std::strtoull(argv[2], nullptr, 10);
    std::vector<std::uint64_t> offsets;
    const auto object = [&](const std::string& text) {
        offsets.push_back(static_cast<std::uint64_t>(file.tellp()));
        file << offsets.size() << " 0 obj\n" << text;
    };

    file << "%PDF-1.4\n";
    object("<</Type/Catalog/Pages 2 0 R>>\nendobj\n");
    object("<</Type/Pages/Kids[3 0 R]/Count 1>>\nendobj\n");
    object("<</Type/Page/Parent 2 0 R/MediaBox[0 0 315 437]/Resources<<>>>>\nendobj\n");
    object("<</Length " + std::to_string(mebibytes << 20U) + ">>\nstream\n");
    std::vector<std::uint64_t> block(1U << 17U); // 1 MiB
    std::uint64_t state = 88172645463325252ULL;  // xorshift64 (Marsaglia, 2003)
    for (std::uint64_t written = 0; written < mebibytes; ++written) {
        for (std::uint64_t& word : block) {
            state ^= state << 13U;
            state ^= state >> 7U;
            state ^= state << 17U;
            word = state;
        }
        file.write(reinterpret_cast<const char*>(block.data()), 1 << 20);
    }
    file << "\nendstream\nendobj\n";

    const auto crossReference = static_cast<std::uint64_t>(file.tellp());
    file << "xref\n0 5\n0000000000 65535 f \n";
    for (const std::uint64_t offset : offsets) {
        char entry[32] = {};
        std::snprintf(entry, sizeof entry, "%010ju 00000 n \n",
                      static_cast<std::uintmax_t>(offset));
        file << entry;
    }
    file << "trailer\n<</Size 5/Root 1 0 R>>\nstartxref\n" << crossReference << "\n%%EOF\n";
    return file.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
