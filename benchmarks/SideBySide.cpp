// Times two commands in turn, A B A B ..., so that a machine whose speed drifts treats both alike,
// and prints the ratio of their wall times and their peak memory:
//
//   side-by-side RUNS LABEL [--before COMMAND] [--limit RATIO] COMMAND_A COMMAND_B
//
// Each command is one shell text, replaced by its program with "exec" inside it. --before names a
// command that is run, untimed, before each timed one. With --limit the exit status is 1 when the
// median ratio of the wall times is larger. What the commands print goes nowhere.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Run {
    double wallSeconds = 0;
    /// Largest resident size of the command or of one of its waited-for children, in MiB.
    double peakMiB = 0;
};

Run timed(const std::string& command) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t process = ::fork();
    if (process == 0) {
        const int nowhere = ::open("/dev/null", O_RDWR);
        for (int stream = 0; stream <= 2; ++stream)
            ::dup2(nowhere, stream);
        ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        ::_exit(127);
    }
    int status = 0;
    struct rusage usage = {};
    ::wait4(process, &status, 0, &usage);
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) {
        std::fprintf(stderr, "could not run: %s\n", command.c_str());
        std::exit(EXIT_FAILURE);
    }
    return {wall.count(), static_cast<double>(usage.ru_maxrss) / 1024};
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

/// The value of an option among those that follow the label, which is taken out; empty without one.
std::string takeOption(std::vector<std::string>& arguments, const std::string& name) {
    for (std::size_t place = 2; place + 2 < arguments.size(); place += 2) {
        if (arguments[place] != name)
            continue;
        const std::string value = arguments[place + 1];
        const auto found = arguments.begin() + static_cast<std::ptrdiff_t>(place);
        arguments.erase(found, found + 2);
        return value;
    }
    return {};
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::string before = takeOption(arguments, "--before");
    const std::string limit = takeOption(arguments, "--limit");
    const int runs = arguments.size() == 4 ? std::atoi(arguments[0].c_str()) : 0;
    if (runs < 1) {
        std::fprintf(stderr,
                     "usage: side-by-side RUNS LABEL [--before COMMAND] [--limit RATIO] A B\n");
        return EXIT_FAILURE;
    }

    std::vector<double> ratios;
    std::vector<double> wall[2];
    double peak[2] = {};
    for (int run = -1; run < runs; ++run) { // the first pair only warms up
        double pair[2] = {};
        for (std::size_t side = 0; side < 2; ++side) {
            if (!before.empty())
                timed(before);
            const Run result = timed(arguments[2 + side]);
            pair[side] = result.wallSeconds;
            if (run < 0)
                continue;
            wall[side].push_back(result.wallSeconds);
            peak[side] = std::max(peak[side], result.peakMiB);
        }
        if (run >= 0)
            ratios.push_back(pair[0] / pair[1]);
    }
    const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
    std::printf(
        "%-44s %6.2f  (%.2f to %.2f, %d pairs)  wall %.4f s : %.4f s  peak %.0f : %.0f MiB\n",
        arguments[1].c_str(), median(ratios), *least, *most, runs, median(wall[0]), median(wall[1]),
        peak[0], peak[1]);
    if (limit.empty() || median(ratios) <= std::atof(limit.c_str()))
        return EXIT_SUCCESS;
    std::printf("%s: above the limit of %s\n", arguments[1].c_str(), limit.c_str());
    return EXIT_FAILURE;
}
