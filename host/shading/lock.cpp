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
    while (depth_ > 0) {
        context.check_aborted();
        freed_.wait_for(guard, abort_poll);
    }
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

} // namespace vx::shading
