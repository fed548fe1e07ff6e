#include "host/trace/thread_arena.h"

namespace vx::trace {

namespace {

std::atomic<std::uint64_t> next_id{1};

} // namespace

ThreadArenas::ThreadArenas() : m_id(next_id++) {}

ThreadArena& ThreadArenas::join() {
    const std::scoped_lock lock(m_mutex);
    m_arenas.push_back(std::make_unique<ThreadArena>());
    m_mine = {m_id, m_arenas.back().get()};
    return *m_arenas.back();
}

std::uint64_t ThreadArenas::eye_rays() {
    const std::scoped_lock lock(m_mutex);
    std::uint64_t sum = 0;
    for (const auto& arena : m_arenas)
        sum += arena->eye_rays.load(std::memory_order_relaxed);
    return sum;
}

} // namespace vx::trace
