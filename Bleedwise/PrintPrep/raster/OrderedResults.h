#pragma once

#include "PrintPrep/platform/AvailableProcessors.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Bleedwise {

/// Results that several threads make and one uses in order. Each thread has a `Worker` of its own,
/// made without arguments, for what it keeps from one result to the next.
template <typename Worker, typename Result>
class OrderedResults {
public:
    /// Gives the result of a number. Any thread.
    using Make = std::function<Result(Worker&, std::size_t)>;
    using Use = std::function<void(const Result&)>;

    /// There are results of the numbers below `count`.
    OrderedResults(std::size_t count, Make make) : make_(std::move(make)), results_(count) {}

    /// To be called once. Makes the results on as many threads as there are cores, of which this is
    /// one, and hands them to `use` here. What `make` or `use` throws ends it.
    void useAll(const Use& use) {
        std::vector<std::jthread> helpers;
        const Stop stop{*this}; // comes before the end of the threads
        threads_ =
            std::min<std::size_t>(std::clamp(availableProcessors(), 1U, 32U), results_.size());
        try {
            while (helpers.size() + 1 < threads_)
                helpers.emplace_back([this] { help(); });
        } catch (const std::system_error&) {
            // Those that there are do it all.
        }
        Worker worker;
        for (std::size_t number = 0; number < results_.size(); ++number)
            use(take(number, worker));
    }

private:
    /// So many may be made before the next one is used, which bounds the memory that they take.
    std::size_t mostAhead() const { return 2 * threads_; }
    bool mayMake() const { return next_ < results_.size() && next_ < used_ + mostAhead(); }

    struct Stop {
        OrderedResults& results;
        ~Stop() {
            const std::lock_guard lock(results.mutex_);
            results.stopMaking();
        }
    };

    void stopMaking() {
        next_ = results_.size();
        changed_.notify_all();
    }

    void help() {
        try {
            Worker worker;
            std::unique_lock lock(mutex_);
            while (true) {
                changed_.wait(lock, [this] { return next_ == results_.size() || mayMake(); });
                if (next_ == results_.size())
                    return;
                makeNext(worker, lock);
            }
        } catch (...) {
            const std::lock_guard lock(mutex_);
            failure_ = std::current_exception();
            stopMaking();
        }
    }

    void makeNext(Worker& worker, std::unique_lock<std::mutex>& lock) {
        const std::size_t number = next_++;
        lock.unlock();
        Result result = make_(worker, number);
        lock.lock();
        results_[number] = std::move(result);
        changed_.notify_all();
    }

    Result take(std::size_t number, Worker& worker) {
        std::unique_lock lock(mutex_);
        while (!results_[number]) {
            if (failure_)
                std::rethrow_exception(failure_);
            if (mayMake()) // else it is being made
                makeNext(worker, lock);
            else
                changed_.wait(lock);
        }
        used_ = number + 1;
        changed_.notify_all();
        return *std::exchange(results_[number], std::nullopt);
    }

    Make make_;
    std::size_t threads_ = 1;
    std::mutex mutex_; // of the following
    std::condition_variable changed_;
    std::vector<std::optional<Result>> results_; // until they are used
    std::size_t next_ = 0;                       // to be made
    std::size_t used_ = 0;
    std::exception_ptr failure_;
};

} // namespace Bleedwise
