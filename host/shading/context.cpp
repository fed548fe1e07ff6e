#include "host/shading/context.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

#include "host/shading/crash.h"

namespace vx::shading {

namespace {

std::atomic<std::uint64_t> last_id{0};

} // namespace

Context::Context() : m_id(++last_id) {
    Context* none = nullptr;
    if (!m_current.compare_exchange_strong(none, this))
        throw std::logic_error("a process can have only one renderer at a time");
    global_lock = make_lock();
    thread(); // numbers the thread that makes the context 0
}

Context::~Context() {
    delete_lock(global_lock);
    Context* self = this;
    m_current.compare_exchange_strong(self, nullptr);
}

void Context::none_is_current() {
    throw RenderAborted("no renderer is running");
}

ThreadContext& Context::join_thread() {
    prepare_thread_for_crashes();
    const std::lock_guard lock(m_threads_mutex);
    m_threads.push_back(
        std::make_unique<ThreadContext>(static_cast<int>(m_threads.size()), database));
    m_my_thread = {m_id, m_threads.back().get()};
    return *m_my_thread.thread;
}

void Context::settle_pins() {
    std::map<miTag, std::uint32_t> surplus;
    {
        const std::lock_guard lock(m_threads_mutex);
        for (const auto& thread : m_threads)
            for (const auto& [tag, unpins] : thread->pins.give_back_all())
                surplus[tag] += unpins;
    }
    for (const auto& [tag, unpins] : surplus)
        say(Level::warning, "element " + std::to_string(tag) + " \"" + database.name(tag) +
                                "\" was unpinned " + std::to_string(unpins) +
                                (unpins == 1 ? " time" : " times") + " without a pin");
}

void Context::say(Level level, std::string_view text) {
    messages.write(level, "RC", thread().number, text);
}

void Context::throw_aborted() {
    throw RenderAborted("the render was aborted");
}

void Context::abort_render(std::string_view text) {
    const std::string message = thread().with_shader(text);
    const bool was_interrupted = interrupted();
    // Only the first reason is reported; the other threads end because of it.
    if (!m_aborted.exchange(true, std::memory_order_relaxed) && !was_interrupted)
        say(Level::fatal, message);
    throw RenderAborted(message);
}

void Context::abort_call(std::uint64_t locks_before) {
    // Before the locks are released, so that threads that wait for one give up instead of using
    // unfinished data.
    const bool was_interrupted = interrupted();
    const bool was_aborted = m_aborted.exchange(true, std::memory_order_relaxed) || was_interrupted;
    thread().locks.give_back_since(locks_before);
    if (was_aborted) throw_aborted();
    const std::string message = thread().with_shader(caught_reason());
    say(Level::fatal, message);
    throw RenderAborted(message);
}

void Context::begin_render() {
    m_aborted.store(false, std::memory_order_relaxed);
    m_failed.store(false, std::memory_order_relaxed);
}

} // namespace vx::shading
