#include "host/shading/lock.h"

#include <chrono>

#include "host/shading/context.h"

namespace vx::shading {

namespace {

// Interval at which a waiting thread checks whether the render was aborted.
constexpr std::chrono::milliseconds kAbortPoll{50};

} // namespace

Lock::Result Lock::take(const Context& context, bool recursive) {
    const std::thread::id me = std::this_thread::get_id();
    std::unique_lock guard(m_mutex);
    if (m_depth > 0 && m_owner == me) {
        if (!recursive) return Result::already_mine;
        ++m_depth;
        return Result::taken;
    }
    bool waited = false;
    while (m_depth > 0) {
        context.check_aborted();
        m_freed.wait_for(guard, kAbortPoll);
        waited = true;
    }
    // The holder may have released it because its call failed.
    if (waited) context.check_aborted();
    m_owner = me;
    m_depth = 1;
    return Result::taken;
}

bool Lock::give() {
    {
        const std::lock_guard guard(m_mutex);
        if (m_depth == 0 || m_owner != std::this_thread::get_id()) return false;
        if (--m_depth > 0) return true;
    }
    m_freed.notify_one();
    return true;
}

Lock::Result HeldLocks::take(Lock& lock, const Context& context) {
    m_held.reserve(m_held.size() + 1); // push_back must not fail once the lock is taken
    const Lock::Result result = lock.take(context, false);
    if (result == Lock::Result::taken) m_held.push_back({&lock, ++m_taken});
    return result;
}

bool HeldLocks::give(Lock& lock) {
    forget(lock);
    return lock.give();
}

void HeldLocks::forget(const Lock& lock) {
    std::erase_if(m_held, [&lock](const Held& held) { return held.lock == &lock; });
}

void HeldLocks::give_back_since(std::uint64_t mark) noexcept {
    for (; !m_held.empty() && m_held.back().number > mark; m_held.pop_back())
        m_held.back().lock->give();
}

} // namespace vx::shading
