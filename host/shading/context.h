/*
 * The renderer as the interface functions see it: everything that shaders can reach, in one object.
 * One context is current in a process; the C functions of host/api work on that one.
 *
 * Order of a render: the builder fills `database` and `functions`; the renderer sets `lights`,
 * calls begin_render, makes states (StateScope beside each) and calls shaders (call.h) on any
 * number of threads, each inside try/catch of RenderAborted; when all threads are through it calls
 * end_render, which runs the exits of what was initialised. Again for the next render.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/db/database.h"
#include "host/shading/errors.h"
#include "host/shading/function.h"
#include "host/shading/library.h"
#include "host/shading/lock.h"
#include "host/shading/messages.h"
#include "host/shading/thread.h"

namespace vx::shading {

/* A user data element: mi_db_access gives its contents, the rest is kept here. */
struct UserData {
    miTag declaration = miNULLTAG;
    miUint label = 0;
    miTag next = miNULLTAG;
    int size = 0;
};

class Context {
  public:
    Context();
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    /* The context of the interface functions: the one made last. There must be one. */
    static Context& current() {
        Context* const context = m_current.load(std::memory_order_acquire);
        if (context == nullptr) none_is_current();
        return *context;
    }

    db::Database database;
    Messages messages;
    Libraries libraries;
    FunctionTable functions{database};
    /* Replaces {NAME} in texts; empty: copies. Must stand calls from many threads. */
    std::function<std::string(std::string_view)> substitute;
    /* Tags of all light instances of the scene that is rendered (leaf instances). */
    std::vector<miTag> lights;
    std::unordered_map<miTag, UserData> user_data;
    miLock global_lock = nullptr; /* goes into every miState */

    /* The calling thread's part. The thread that made the context is number 0; the others are
     * numbered in the order in which they first ask. */
    ThreadContext& thread() {
        return m_my_thread.context == m_id ? *m_my_thread.thread : join_thread();
    }

    /* The spare pins of all threads go back, so that the database's counts are exact. No thread
     * may be in a shader. */
    void settle_pins();

    /* Ready for shaders; clears the mark of an abort. */
    void begin_render();
    /* Exits of all initialised instances, in the order of their creation, then of their shader;
     * user pointers and per-thread pointers become null, pins left over are reported (debug).
     * `state`: camera and options of the frame. No thread may be in a shader. */
    void end_render(const miState& state);

    /* Writes the text with the running shader's name in front as a fatal message, marks the render
     * as aborted and throws. */
    [[noreturn]] void abort_render(std::string_view text);
    /* For a catch block around a call of the running shader: as abort_render with the reason of the
     * exception, and gives back the locks that the call took. */
    [[noreturn]] void abort_call(std::uint64_t locks_before);
    /* Marks it only; for a cancel from outside. Threads notice at their next lock or evaluation. */
    void cancel() noexcept { m_aborted.store(true, std::memory_order_relaxed); }
    [[nodiscard]] bool aborted() const noexcept {
        return m_aborted.load(std::memory_order_relaxed);
    }
    /* Throws when aborted() holds. */
    void check_aborted() const {
        if (aborted()) throw_aborted();
    }
    /* Whether shaders were refused or exits failed since begin_render: the picture is not what the
     * scene says, or not all that shaders were to do is done. */
    [[nodiscard]] bool shaders_failed() const noexcept {
        return m_failed.load(std::memory_order_relaxed);
    }
    void count_as_failed() noexcept { m_failed.store(true, std::memory_order_relaxed); }

    /* A message of module RC from the calling thread. */
    void say(Level level, std::string_view text);

    /* Looks up, checks and initialises a shader instance before its first call; false: refused.
     * `state` is that of the call. */
    bool ready(Function& function, miState* state) {
        const Function::Stage stage = function.stage.load(std::memory_order_acquire);
        if (stage == Function::Stage::ready) return true;
        return start(function, state);
    }

  private:
    struct MyThread {
        std::uint64_t context; /* of the context that the thread asked last */
        ThreadContext* thread;
    };

    [[noreturn]] static void none_is_current();
    [[noreturn]] static void throw_aborted();
    ThreadContext& join_thread();
    bool start(Function& function, miState* state);
    bool start(Declaration& declaration, Function& function, miState* state);
    void refuse(Declaration& declaration, const std::string& why);
    void refuse(Function& function, const std::string& why);
    template <class Call>
    std::string failure_of(Call&& call);
    template <class Call>
    void run_exit(const std::string& label, const std::string& name, Call&& call);

    static inline std::atomic<Context*> m_current{nullptr};
    static inline thread_local constinit MyThread m_my_thread{0, nullptr};

    const std::uint64_t m_id;
    std::atomic<bool> m_aborted{false};
    std::atomic<bool> m_failed{false};
    Lock m_init_lock;
    std::vector<Declaration*> m_started; /* in the order of their init */
    std::mutex m_threads_mutex;
    std::vector<std::unique_ptr<ThreadContext>> m_threads;
};

} // namespace vx::shading
