// Writes a photo-like picture as bytes of red, green and blue without a header:
//
//   photo-pixels FILE WIDTH HEIGHT SEED
//
// Shapes of all sizes, as clouds and leaves have them (octaves of value noise), lit from one side,
// in a palette of a few hues, with a camera's noise on top.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

/// Without a pattern, from 0 to 1: the finalizer of MurmurHash3 (A. Appleby).
double random(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    std::uint32_t hash = x * 0x9e3779b1U ^ y * 0x85ebca77U ^ seed * 0xc2b2ae3dU;
    hash ^= hash >> 16U;
    hash *= 0x85ebca6bU;
    hash ^= hash >> 13U;
    hash *= 0xc2b2ae35U;
    hash ^= hash >> 16U;
    return hash / 4294967296.0;
}

double smooth(double x, double y, std::uint32_t seed) {
    const double column = std::floor(x);
    const double row = std::floor(y);
    const double across = x - column;
    const double down = y - row;
    const auto corner = [&](int right, int below) {
        return random(static_cast<std::uint32_t>(column) + static_cast<std::uint32_t>(right),
                      static_cast<std::uint32_t>(row) + static_cast<std::uint32_t>(below), seed);
    };
    return std::lerp(std::lerp(corner(0, 0), corner(1, 0), across),
                     std::lerp(corner(0, 1), corner(1, 1), across), down);
}

double clouds(double x, double y, std::uint32_t seed) {
    double sum = 0;
    double weight = 0.5;
    for (const double size : {700.0, 260.0, 96.0, 36.0, 13.0, 5.0}) {
        sum += weight * smooth(x / size, y / size, seed++);
        weight /= 1.9;
    }
    return sum;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5)
        return EXIT_FAILURE;
    std::ofstream file(argv[1], std::ios::binary);
    const long width = std::strtol(argv[2], nullptr, 10);
    const long height = std::strtol(argv[3], nullptr, 10);
    const auto seed = static_cast<std::uint32_t>(std::strtoul(argv[4], nullptr, 10)) * 1000;
    std::string row(static_cast<std::size_t>(3 * width), '\0');
    for (long y = 0; y < height; ++y) {
        for (long x = 0; x < width; ++x) {
            const double shape = clouds(static_cast<double>(x), static_cast<double>(y), seed);
            const double hue = clouds(static_cast<double>(x), static_cast<double>(y), seed + 100);
            const double light = 0.25 + 0.75 * static_cast<double>(y) / static_cast<double>(height);
            const std::array<double, 3> color = {shape * light * 1.5,
                                                 (0.3 * shape + 0.7 * hue) * light,
                                                 (1.1 - shape) * 0.7 * light + 0.2 * hue};
            for (std::size_t channel = 0; channel < 3; ++channel) {
                const double noise =
                    random(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y),
                           seed + 200 + static_cast<std::uint32_t>(channel)) *
                    6;
                row[3 * static_cast<std::size_t>(x) + channel] = static_cast<char>(
                    std::lround(std::clamp(color[channel] * 255 + noise - 3, 0.0, 255.0)));
            }
        }
        file.write(row.data(), static_cast<std::streamsize>(row.size()));
    }
    return file.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
