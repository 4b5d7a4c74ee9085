#include "PrintPrep/raster/OrderedResults.h"

#include <algorithm>
#include <atomic>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

/// Says how often it has worked.
struct Worker {
    std::size_t results = 0;
};

std::vector<std::size_t> used(std::size_t count, OrderedResults<Worker, std::size_t>::Make make) {
    std::vector<std::size_t> results;
    OrderedResults<Worker, std::size_t>(count, std::move(make)).useAll([&](std::size_t result) {
        results.push_back(result);
    });
    return results;
}

TEST(OrderedResults, ComeInOrder) {
    std::vector<std::size_t> expected(1000);
    std::iota(expected.begin(), expected.end(), std::size_t{0});
    EXPECT_EQ(used(1000, [](Worker&, std::size_t number) { return number; }), expected);
}

TEST(OrderedResults, MayBeNone) {
    EXPECT_TRUE(used(0, [](Worker&, std::size_t number) { return number; }).empty());
}

TEST(OrderedResults, AreMadeByWorkersThatStay) {
    const auto counts = used(200, [](Worker& worker, std::size_t) { return ++worker.results; });
    EXPECT_GE(*std::max_element(counts.begin(), counts.end()),
              200 / std::clamp(availableProcessors(), 1U, 32U));
}

TEST(OrderedResults, AreMadeOnceEach) {
    std::vector<std::atomic<int>> made(300);
    used(made.size(), [&](Worker&, std::size_t number) {
        ++made[number];
        return number;
    });
    EXPECT_TRUE(
        std::all_of(made.begin(), made.end(), [](const auto& times) { return times == 1; }));
}

TEST(OrderedResults, AreMadeOnlySoFarAhead) {
    const std::size_t threads = std::clamp(availableProcessors(), 1U, 32U);
    std::atomic<std::size_t> begun = 0;
    OrderedResults<Worker, std::size_t> results(300, [&](Worker&, std::size_t number) {
        ++begun;
        return number;
    });
    results.useAll([&](std::size_t number) {
        const std::size_t most = std::min<std::size_t>(number + 1 + 2 * threads, 300);
        while (threads > 1 && begun < most)
            std::this_thread::yield();
        EXPECT_LE(begun, most);
    });
}

TEST(OrderedResults, EndWithWhatMakingThemThrows) {
    const auto make = [](Worker&, std::size_t number) {
        if (number == 150)
            throw std::runtime_error("no result");
        return number;
    };
    EXPECT_THROW(used(300, make), std::runtime_error);
}

TEST(OrderedResults, EndWithWhatTheirUserThrows) {
    OrderedResults<Worker, std::size_t> results(300,
                                                [](Worker&, std::size_t number) { return number; });
    const auto use = [](std::size_t) { throw std::runtime_error("no room"); };
    EXPECT_THROW(results.useAll(use), std::runtime_error);
}

} // namespace
} // namespace Bleedwise
