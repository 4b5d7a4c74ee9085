#include "ContentView/MainThread.h"

#include "support/EventLoop.h"

#include <thread>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

TEST(MainThread, IsTheThreadOfTheApplicationObject) {
    const Testing::EventLoop loop;
    MainThread::require("test");
}

TEST(MainThreadDeathTest, IsNoOtherThread) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            const Testing::EventLoop loop;
            std::thread([] { MainThread::require("ContentView::addPDFs"); }).join();
        },
        "ContentView::addPDFs was called outside the main thread");
}

TEST(MainThreadDeathTest, DoesNotExistWithoutAnApplicationObject) {
    EXPECT_DEATH(MainThread::require("operation"), "operation was called outside the main thread");
}

} // namespace
} // namespace Bleedwise
