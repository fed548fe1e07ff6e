// Work on a few threads.
#pragma once

#include <algorithm>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace vx::cache {

// Threads that are worth having here: what waits for memory gains nothing from many.
inline int worker_count() {
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U));
}

// Calls f(0) to f(workers - 1), each on a thread of its own and the first on the caller's. What any
// of them throws, the first to do so, is thrown here once all have ended; a thread that cannot be
// had is done without, so f must share out the work as it goes.
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
            // Fewer hands, the same work.
        }
        guarded(0);
    }
    if (failure) std::rethrow_exception(failure);
}

} // namespace vx::cache
