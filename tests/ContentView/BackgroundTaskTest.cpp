#include "ContentView/BackgroundTask.h"

#include "support/EventLoop.h"

#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>

#include <QCoroTask>
#include <QThread>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

class BackgroundTaskTest : public testing::Test {
protected:
    /// Awaits `work` and notes how that ended.
    QCoro::Task<> await(std::function<std::string()> work) {
        BackgroundTask<std::string> task(*thread, std::move(work));
        try {
            outcome = co_await task;
        } catch (const BackgroundThread::Abandoned&) {
            outcome = "abandoned";
        } catch (const std::exception& error) {
            outcome = std::string("error: ") + error.what();
        }
        resumedOn = QThread::currentThread();
    }

    bool run(std::function<std::string()> work) {
        await(std::move(work));
        return loop.runUntil([this] { return !outcome.empty(); });
    }

    Testing::EventLoop loop;
    std::unique_ptr<BackgroundThread> thread = std::make_unique<BackgroundThread>();
    std::string outcome;
    const QThread* resumedOn = nullptr;
};

TEST_F(BackgroundTaskTest, GivesWhatTheWorkReturns) {
    ASSERT_TRUE(run([] { return "result"; }));
    EXPECT_EQ(outcome, "result");
}

TEST_F(BackgroundTaskTest, GivesWhatTheWorkThrows) {
    ASSERT_TRUE(run([]() -> std::string { throw std::runtime_error("broken"); }));
    EXPECT_EQ(outcome, "error: broken");
}

TEST_F(BackgroundTaskTest, RunsTheWorkOnAnotherThread) {
    const QThread* worker = nullptr;
    ASSERT_TRUE(run([&] {
        worker = QThread::currentThread();
        return "result";
    }));
    EXPECT_NE(worker, QThread::currentThread());
}

TEST_F(BackgroundTaskTest, ResumesOnTheThreadThatStartedIt) {
    ASSERT_TRUE(run([] { return "result"; }));
    EXPECT_EQ(resumedOn, QThread::currentThread());
}

TEST_F(BackgroundTaskTest, DoesNotBlockTheThreadThatStartedIt) {
    std::binary_semaphore gate(0);
    await([&] {
        gate.acquire();
        return "result";
    });
    EXPECT_EQ(outcome, "");
    gate.release();
    EXPECT_TRUE(loop.runUntil([this] { return outcome == "result"; }));
}

TEST_F(BackgroundTaskTest, RunsOnePieceOfWorkAfterTheOther) {
    for (const char* text : {"first", "second", "third"}) {
        outcome.clear();
        ASSERT_TRUE(run([=] { return text; }));
        EXPECT_EQ(outcome, text);
    }
}

using BackgroundTaskDeathTest = BackgroundTaskTest;

TEST_F(BackgroundTaskDeathTest, EndsTheProcessOnASecondPieceOfWorkAtATime) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    std::binary_semaphore gate(0);
    const auto work = [&] {
        gate.acquire();
        return "result";
    };
    EXPECT_DEATH(
        {
            await(work);
            await(work);
        },
        "BackgroundThread was given work while it was busy");
}

TEST_F(BackgroundTaskTest, WaitsForTheWorkAndEndsTheCoroutineWhenItIsDestroyed) {
    std::binary_semaphore gate(0);
    bool ended = false;
    await([&] {
        gate.acquire();
        ended = true;
        return "result";
    });
    gate.release();
    thread.reset();
    EXPECT_TRUE(ended);
    EXPECT_EQ(outcome, "abandoned");
}

TEST_F(BackgroundTaskTest, EndsTheCoroutineWhenItIsDestroyedAfterTheWork) {
    std::binary_semaphore ended(0);
    await([&] {
        ended.release();
        return "result";
    });
    ended.acquire(); // its word of that is now on the way
    thread.reset();
    EXPECT_EQ(outcome, "abandoned");
    loop.runOnce();
}

TEST_F(BackgroundTaskTest, DoesNotStartOnceAbandoned) {
    thread->abandon();
    bool started = false;
    await([&] {
        started = true;
        return "result";
    });
    EXPECT_EQ(outcome, "abandoned");
    EXPECT_FALSE(started);
}

} // namespace
} // namespace Bleedwise
