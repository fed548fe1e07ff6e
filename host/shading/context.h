// What shaders can reach through the interface, except rays: elements, libraries, messages, locks.
// One context is current in a process; the C functions of host/api work on it.
//
// Order of a render: SceneBuilder fills `database` and `functions`; the renderer sets `lights`,
// calls begin_render, makes states (with a StateScope for each) and calls shaders (call.h) on any
// number of threads, which catch RenderAborted; when all threads are done it calls end_render,
// which runs the exits of the initialized shaders. The next render repeats this.
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
#include "host/scene/omissions.h"
#include "host/shading/errors.h"
#include "host/shading/function.h"
#include "host/shading/library.h"
#include "host/shading/lock.h"
#include "host/shading/messages.h"
#include "host/shading/thread.h"

namespace vx::shading {

// What a user data element has besides its contents, which mi_db_access returns.
struct UserDataElement {
    miTag declaration = miNULLTAG;
    miUint label = 0;
    miTag next = miNULLTAG;
    int size = 0;
};

class Context {
  public:
    Context(); // throws std::logic_error while another one exists
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    // The context of the interface functions, the only one of the process. Throws RenderAborted if
    // there is none.
    static Context& current() {
        Context* const context = m_current.load(std::memory_order_acquire);
        if (context == nullptr) none_is_current();
        return *context;
    }

    db::Database database;
    Messages messages;
    scene::Omissions omissions; // since the start of the program
    Libraries libraries;
    FunctionTable functions{database};
    // Replaces {NAME} in texts; may be empty. Must be safe to call from many threads.
    std::function<std::string(std::string_view)> substitute;
    // Tags of all lights of the frame (leaf instances).
    std::vector<miTag> lights;
    std::unordered_map<miTag, UserDataElement> user_data;
    miLock global_lock = nullptr; // for miState::global_lock

    // The calling thread's part. The thread that made the context has number 0; the others are
    // numbered in the order of their first calls.
    ThreadContext& thread() {
        return m_my_thread.context == m_id ? *m_my_thread.thread : join_thread();
    }

    // The calling thread's part of the current context; null if there is none. Async-signal-safe.
    static const ThreadContext* thread_if_current() noexcept {
        const Context* const context = m_current.load(std::memory_order_acquire);
        return context != nullptr && m_my_thread.context == context->m_id ? m_my_thread.thread
                                                                          : nullptr;
    }

    // Releases the pins that threads keep for later use, so that the database's counts are exact,
    // and reports surplus unpins that are only detected now. No thread may be in a shader.
    void settle_pins();

    // From now on renders end early once `interrupt` is true, as after cancel(); the exits of
    // shaders still run. A signal handler may set it. It must outlive the last render.
    void watch(const std::atomic<bool>& interrupt) noexcept { m_interrupt = &interrupt; }
    [[nodiscard]] bool interrupted() const noexcept {
        return m_interrupt->load(std::memory_order_relaxed);
    }

    // Prepares for calls of shaders; forgets an abort of the last render.
    void begin_render();
    // Reports the calls that returned false, unless the render was aborted, and runs the exits of
    // all initialized shaders: for each shader those of its instances, in the order of their
    // creation, then its own. Resets user pointers and per-thread pointers to null and reports pins
    // that were not released (debug). `state` has the camera and the options of the frame. No
    // thread may be in a shader.
    void end_render(const miState& state);

    // Marks the render as aborted, reports the text with the running shader's name as a fatal
    // message unless it was aborted before, and throws.
    [[noreturn]] void abort_render(std::string_view text);
    // For the handler of an exception that left the running shader: as abort_render, with the text
    // of the exception, and releases the locks that the call took.
    [[noreturn]] void abort_call(std::uint64_t locks_before);
    // Marks the render as aborted, from outside of shaders. Threads notice at their next lock,
    // shader call or ray.
    void cancel() noexcept { m_aborted.store(true, std::memory_order_relaxed); }
    [[nodiscard]] bool aborted() const noexcept {
        return m_aborted.load(std::memory_order_relaxed) || interrupted();
    }
    // Throws RenderAborted if the render is aborted.
    void check_aborted() const {
        if (aborted()) throw_aborted();
    }
    // True if shaders were refused or exits failed since begin_render: the picture may be wrong, or
    // output of shaders may be missing.
    [[nodiscard]] bool shaders_failed() const noexcept {
        return m_failed.load(std::memory_order_relaxed);
    }
    void count_as_failed() noexcept { m_failed.store(true, std::memory_order_relaxed); }

    // A message of module RC from the calling thread.
    void say(Level level, std::string_view text);

    // Looks up, checks and initializes a shader instance before its first call; false if it is
    // refused. `state` is that of the call.
    bool ready(Function& function, miState* state) {
        const Function::Stage stage = function.stage.load(std::memory_order_acquire);
        if (stage == Function::Stage::ready) return true;
        return start(function, state);
    }

  private:
    struct MyThread {
        std::uint64_t context; // m_id of the context that the thread used last
        ThreadContext* thread;
    };

    [[noreturn]] static void none_is_current();
    [[noreturn]] static void throw_aborted();
    ThreadContext& join_thread();
    void report_failed_calls();
    bool start(Function& function, miState* state);
    bool start(DeclaredShader& declaration, Function& function, miState* state);
    void refuse(DeclaredShader& declaration, const std::string& why);
    void refuse(Function& function, const std::string& why);
    template <class Call>
    std::string failure_of(Call&& call);
    template <class Call>
    void run_exit(const std::string& label, const std::string& name, Call&& call);

    static inline std::atomic<Context*> m_current{nullptr};
    static inline thread_local constinit MyThread m_my_thread{0, nullptr};

    const std::uint64_t m_id;
    static inline const std::atomic<bool> kNever{false};
    const std::atomic<bool>* m_interrupt = &kNever;
    std::atomic<bool> m_aborted{false};
    std::atomic<bool> m_failed{false};
    Lock m_init_lock;
    std::vector<DeclaredShader*> m_started; // in the order of their inits
    std::mutex m_threads_mutex;
    std::vector<std::unique_ptr<ThreadContext>> m_threads;
};

} // namespace vx::shading
