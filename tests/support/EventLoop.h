#pragma once

#include <functional>

#include <QCoreApplication>

namespace Bleedwise::Testing {

/// The application object of one test, with its event loop. The test's thread is the main thread.
class EventLoop {
public:
    /// Handles events until `done` holds. False when it does not for a minute.
    bool runUntil(const std::function<bool()>& done);

    /// Handles what has been posted so far.
    void runOnce();

private:
    static inline int argumentCount_ = 1;
    static inline char name_[] = "test";
    static inline char* arguments_[] = {name_, nullptr};

    QCoreApplication application_{argumentCount_, arguments_};
};

} // namespace Bleedwise::Testing
