#pragma once

#include <functional>

#include <QApplication>
#include <gtest/gtest.h>

namespace Bleedwise::Testing {

/// A test with an application object that can have windows. The test's thread is the main thread.
class WindowFixture : public testing::Test {
protected:
    /// Handles events until `done` holds. False when it does not for a minute.
    static bool runUntil(const std::function<bool()>& done);

    /// Handles what has been posted so far.
    static void runOnce();

private:
    static inline int argumentCount_ = 1;
    static inline char name_[] = "test";
    static inline char* arguments_[] = {name_, nullptr};

    QApplication application_{argumentCount_, arguments_};
};

} // namespace Bleedwise::Testing
