#pragma once

#include "support/EventLoop.h"

#include <functional>

#include <gtest/gtest.h>

namespace Bleedwise::Testing {

/// A test with an application object that can have windows. All tests of a process share it, since
/// Qt keeps parts of the first one for good. The test's thread is the main thread.
class WindowFixture : public testing::Test {
protected:
    WindowFixture();

    static bool runUntil(const std::function<bool()>& done) { return EventLoop::runUntil(done); }
    static void runOnce() { EventLoop::runOnce(); }
};

} // namespace Bleedwise::Testing
