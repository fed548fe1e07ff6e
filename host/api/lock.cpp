// mi_lock and related functions.
#include "host/shading/lock.h"

#include "host/shading/context.h"

using vx::shading::Context;
using vx::shading::Lock;

void mi_init_lock(miLock* lock) {
    *lock = vx::shading::make_lock();
}

void mi_delete_lock(miLock* lock) {
    if (*lock != nullptr) Context::current().thread().locks.forget(*static_cast<Lock*>(*lock));
    vx::shading::delete_lock(*lock);
    *lock = nullptr;
}

void mi_lock(miLock lock) {
    Context& context = Context::current();
    if (lock == nullptr) context.abort_render("mi_lock called on an uninitialized lock");
    if (context.thread().locks.take(*static_cast<Lock*>(lock), context) ==
        Lock::Result::already_mine)
        context.abort_render("mi_lock called on a lock that this thread already holds");
}

void mi_unlock(miLock lock) {
    Context& context = Context::current();
    if (lock == nullptr) context.abort_render("mi_unlock called on an uninitialized lock");
    if (!context.thread().locks.give(*static_cast<Lock*>(lock)))
        context.say(vx::shading::Level::warning,
                    context.thread().with_shader(
                        "mi_unlock called on a lock that this thread does not hold"));
}
