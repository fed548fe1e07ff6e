/*
 * A lock whose waiting threads give up when the render is aborted. Behind miLock, and behind the
 * serialised init of shaders.
 */
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "shader.h"

namespace vx::shading {

class Context;

class Lock {
  public:
    enum class Result { taken, already_mine };

    /* Waits. A thread that holds it already takes it once more when `recursive`, else gets
     * already_mine at once (it would wait for itself). Throws RenderAborted when `context` is
     * aborted while waiting. */
    Result take(const Context& context, bool recursive);
    /* False when the calling thread does not hold it. */
    bool give();

  private:
    std::mutex m_mutex;
    std::condition_variable m_freed;
    std::thread::id m_owner;
    unsigned m_depth = 0;
};

/* The locks that one thread's shaders hold: a call that ends by an exception gives back what it
 * took. */
class HeldLocks {
  public:
    /* Takes the lock as Lock::take does, and remembers it. */
    Lock::Result take(Lock& lock, const Context& context);
    /* As Lock::give. */
    bool give(Lock& lock);
    /* The lock is deleted, held or not. */
    void forget(const Lock& lock);

    /* For give_back_since: now. */
    [[nodiscard]] std::uint64_t mark() const { return m_taken; }
    /* Gives back what was taken since and is still held. */
    void give_back_since(std::uint64_t mark) noexcept;

  private:
    struct Held {
        Lock* lock;
        std::uint64_t number; /* in the order of taking */
    };
    std::vector<Held> m_held;
    std::uint64_t m_taken = 0;
};

/* Holds a lock while it lives. */
class LockScope {
  public:
    LockScope(Lock& lock, const Context& context) : m_lock(lock) { m_lock.take(context, true); }
    ~LockScope() { m_lock.give(); }
    LockScope(const LockScope&) = delete;
    LockScope& operator=(const LockScope&) = delete;

  private:
    Lock& m_lock;
};

/* What shaders hold as an miLock. */
inline miLock make_lock() {
    return new Lock;
}
inline void delete_lock(miLock lock) {
    delete static_cast<Lock*>(lock);
}

} // namespace vx::shading
