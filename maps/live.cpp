#include "maps/live.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace vx::maps {

namespace {

struct Cell {
    std::array<std::atomic<long>, 2> counts{};
};

// The counters of all running threads, and the sums of those that have ended.
struct Cells {
    std::mutex mutex;
    std::vector<const Cell*> running;
    std::array<long, 2> ended{};
};

Cells& cells() {
    // Never destroyed: threads may end after static objects are destroyed.
    static Cells* const kAll = new Cells;
    return *kAll;
}

// The counters of one thread. No other thread writes them, so no locked instruction is needed.
struct alignas(64) OwnCell : Cell {
    OwnCell() {
        const std::lock_guard lock(cells().mutex);
        cells().running.push_back(this);
    }
    OwnCell(const OwnCell&) = delete;
    OwnCell& operator=(const OwnCell&) = delete;
    ~OwnCell() {
        const std::lock_guard lock(cells().mutex);
        for (std::size_t i = 0; i < counts.size(); ++i)
            cells().ended[i] += counts[i];
        std::erase(cells().running, this);
    }
};

} // namespace

void count_live(Kept what, long change) {
    thread_local OwnCell own;
    std::atomic<long>& count = own.counts[static_cast<std::size_t>(what)];
    count.store(count.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
}

long total_live(Kept what) {
    const auto which = static_cast<std::size_t>(what);
    const std::lock_guard lock(cells().mutex);
    long sum = cells().ended[which];
    for (const Cell* cell : cells().running) {
        sum += cell->counts[which].load(std::memory_order_relaxed);
    }
    return sum;
}

} // namespace vx::maps
