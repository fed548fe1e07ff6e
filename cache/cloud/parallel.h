/// @file
/// Work on a few threads.
#pragma once

#include <algorithm>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace vx::cache {

/// The number of processors, at least 1.
inline int processor_count() {
    return static_cast<int>(std::max(std::thread::hardware_concurrency(), 1U));
}

/// The number of threads to use for work that is limited by memory bandwidth, 1 to 4.
inline int worker_count() {
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U));
}

/// Calls f(0) to f(workers - 1) on different threads, f(0) on the caller's, and waits for them. If
/// a thread cannot be created, its call is left out: f must distribute the work dynamically. If
/// calls throw, the first exception is rethrown after all calls have ended.
template <typename F>
void run_workers(int workers, F&& f) {
    std::exception_ptr failure;
    std::mutex mutex;
    const auto guarded = [&](int worker) {
        try {
            f(worker);
        } catch (...) {
            const std::lock_guard lock(mutex);
            if (!failure) failure = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> threads;
        try {
            for (int worker = 1; worker < workers; ++worker)
                threads.emplace_back(guarded, worker);
        } catch (const std::system_error&) {
            // The other workers do its part.
        }
        guarded(0);
    }
    if (failure) std::rethrow_exception(failure);
}

} // namespace vx::cache
