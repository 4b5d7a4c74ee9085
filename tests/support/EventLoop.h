#pragma once

#include <functional>

#include <QCoreApplication>

namespace Bleedwise::Testing {

/// The application object of one test that needs no window, with its event loop. The test's thread
/// is the main thread. The functions run the event loop of any application object.
class EventLoop {
public:
    /// Handles events until `done` holds. False when it does not for a minute.
    static bool runUntil(const std::function<bool()>& done);

    /// Handles what has been posted so far.
    static void runOnce();

private:
    static inline int argumentCount_ = 1;
    static inline char name_[] = "test";
    static inline char* arguments_[] = {name_, nullptr};

    QCoreApplication application_{argumentCount_, arguments_};
};

} // namespace Bleedwise::Testing
