#pragma once

#ifndef Q_MOC_RUN // moc of Qt 6.4 cannot read this header
#include <coroutine>
#endif
#include <exception>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include <QObject>

namespace Bleedwise {

/// Runs work for the coroutines of one object, each piece on a thread of its own and one at a time,
/// and resumes the coroutine that waits in the event loop of the thread that this belongs to.
///
/// Whoever owns the coroutines' data owns one of these and calls `abandon()` before that data goes:
/// no coroutine then waits any more.
class BackgroundThread : public QObject {
public:
    using QObject::QObject;
    ~BackgroundThread() override;

    /// What `co_await` throws in place of a result when the owner goes.
    class Abandoned {};

    /// Waits until the work has ended, and then runs the coroutine to its end, which finds its work
    /// abandoned. From then on work ends that way before it starts. To be called with work that is
    /// about to end.
    void abandon();

    bool isAbandoned() const { return isAbandoned_; }

    /// For `BackgroundTask`. Throws `std::system_error` when there is no thread to be had.
    void start(std::function<void()> work, std::coroutine_handle<> waiting);

protected:
    void customEvent(QEvent* event) override;

private:
    void resume();

    std::thread thread_;
    std::coroutine_handle<> waiting_;
    bool isAbandoned_ = false;
};

/// A piece of work to be awaited once:
///
///     BackgroundTask<int> counting(thread, [] { return count(); });
///     const int number = co_await counting;
///
/// Starts when it is awaited. What the work returns or throws is what `co_await` gives.
template <typename Result>
class BackgroundTask {
public:
    BackgroundTask(BackgroundThread& thread, std::function<Result()> work)
        : thread_(thread), work_(std::move(work)) {}
    BackgroundTask(const BackgroundTask&) = delete;
    BackgroundTask& operator=(const BackgroundTask&) = delete;

    /// What the compiler asks of a thing to be awaited.
    class Awaiter {
    public:
        explicit Awaiter(BackgroundTask& task) : task_(&task) {}

        bool await_ready() const noexcept { return task_->thread_.isAbandoned(); }
        void await_suspend(std::coroutine_handle<> waiting) {
            task_->thread_.start([task = task_] { task->run(); }, waiting);
        }
        Result await_resume() { return task_->result(); }

    private:
        BackgroundTask* task_;
    };

    Awaiter operator co_await() { return Awaiter(*this); }

private:
    void run() noexcept {
        try {
            result_ = work_();
        } catch (...) {
            failure_ = std::current_exception();
        }
    }

    Result result() {
        if (thread_.isAbandoned())
            throw BackgroundThread::Abandoned();
        if (failure_)
            std::rethrow_exception(failure_);
        return std::move(*result_);
    }

    BackgroundThread& thread_;
    std::function<Result()> work_;
    std::optional<Result> result_;
    std::exception_ptr failure_;
};

} // namespace Bleedwise
