#include "host/shading/lock.h"

#include <chrono>

#include "host/shading/context.h"

namespace vx::shading {

namespace {

/* How long a waiting thread may go on without noticing that the render was aborted. */
constexpr std::chrono::milliseconds abort_poll{50};

} // namespace

Lock::Result Lock::take(const Context& context, bool recursive) {
    const std::thread::id me = std::this_thread::get_id();
    std::unique_lock guard(mutex_);
    if (depth_ > 0 && owner_ == me) {
        if (!recursive) return Result::already_mine;
        ++depth_;
        return Result::taken;
    }
    bool waited = false;
    while (depth_ > 0) {
        context.check_aborted();
        freed_.wait_for(guard, abort_poll);
        waited = true;
    }
    /* The holder may have given it back because its call failed. */
    if (waited) context.check_aborted();
    owner_ = me;
    depth_ = 1;
    return Result::taken;
}

bool Lock::give() {
    {
        const std::lock_guard guard(mutex_);
        if (depth_ == 0 || owner_ != std::this_thread::get_id()) return false;
        if (--depth_ > 0) return true;
    }
    freed_.notify_one();
    return true;
}

Lock::Result HeldLocks::take(Lock& lock, const Context& context) {
    held_.reserve(held_.size() + 1); /* nothing may fail once the lock is taken */
    const Lock::Result result = lock.take(context, false);
    if (result == Lock::Result::taken) held_.push_back({&lock, ++taken_});
    return result;
}

bool HeldLocks::give(Lock& lock) {
    forget(lock);
    return lock.give();
}

void HeldLocks::forget(const Lock& lock) {
    std::erase_if(held_, [&lock](const Held& held) { return held.lock == &lock; });
}

void HeldLocks::give_back_since(std::uint64_t mark) noexcept {
    for (; !held_.empty() && held_.back().number > mark; held_.pop_back())
        held_.back().lock->give();
}

} // namespace vx::shading
