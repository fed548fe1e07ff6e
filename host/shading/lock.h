// A lock whose waiting threads give up when the render is aborted: for miLock, and for the init of
// shaders.
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

    // Waits for the lock. A thread that holds it already takes it once more if `recursive`, else
    // gets already_mine at once. Throws RenderAborted if `context` is aborted during the wait.
    Result take(const Context& context, bool recursive);
    // Releases the lock once. False if the calling thread does not hold it.
    bool give();

  private:
    std::mutex m_mutex;
    std::condition_variable m_freed;
    std::thread::id m_owner;
    unsigned m_depth = 0;
};

// The locks that the shaders of one thread hold, so that those that a call took can be released if
// it ends with an exception.
class HeldLocks {
  public:
    // As Lock::take, not recursive.
    Lock::Result take(Lock& lock, const Context& context);
    // As Lock::give.
    bool give(Lock& lock);
    // For a lock that is deleted, held or not.
    void forget(const Lock& lock);

    // The present moment, for give_back_since.
    [[nodiscard]] std::uint64_t mark() const { return m_taken; }
    // Releases the locks taken since `mark` that are still held.
    void give_back_since(std::uint64_t mark) noexcept;

  private:
    struct Held {
        Lock* lock;
        std::uint64_t number; // in the order of taking
    };
    std::vector<Held> m_held;
    std::uint64_t m_taken = 0;
};

// Holds a lock during its lifetime.
class LockScope {
  public:
    LockScope(Lock& lock, const Context& context) : m_lock(lock) { m_lock.take(context, true); }
    ~LockScope() { m_lock.give(); }
    LockScope(const LockScope&) = delete;
    LockScope& operator=(const LockScope&) = delete;

  private:
    Lock& m_lock;
};

// The locks that shaders hold as miLock.
inline miLock make_lock() {
    return new Lock;
}
inline void delete_lock(miLock lock) {
    delete static_cast<Lock*>(lock);
}

} // namespace vx::shading
