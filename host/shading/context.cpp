#include "host/shading/context.h"

#include <algorithm>
#include <utility>

namespace vx::shading {

namespace {

std::atomic<Context*> current_context{nullptr};
std::atomic<std::uint64_t> last_id{0};

/* The calling thread's part of the context that it asked last. */
thread_local std::pair<std::uint64_t, ThreadContext*> my_thread{0, nullptr};

} // namespace

Context::Context() : global_lock(make_lock()), id_(++last_id) {
    current_context.store(this, std::memory_order_release);
    thread(); /* the thread that makes the context is number 0 */
}

Context::~Context() {
    delete_lock(global_lock);
    Context* self = this;
    current_context.compare_exchange_strong(self, nullptr);
}

Context& Context::current() {
    Context* const context = current_context.load(std::memory_order_acquire);
    if (context == nullptr) throw RenderAborted("no renderer is running");
    return *context;
}

ThreadContext& Context::thread() {
    if (my_thread.first == id_) return *my_thread.second;
    const std::lock_guard lock(threads_mutex_);
    threads_.push_back(std::make_unique<ThreadContext>(static_cast<int>(threads_.size())));
    my_thread = {id_, threads_.back().get()};
    return *my_thread.second;
}

void Context::say(Level level, std::string_view text) {
    messages.write(level, "RC", thread().number, text);
}

void Context::check_aborted() const {
    if (aborted()) throw RenderAborted("the render was aborted");
}

void Context::abort_render(std::string_view text) {
    std::string message;
    if (const std::string shader = thread().running(); !shader.empty())
        message = "shader \"" + shader + "\": ";
    message += text;
    /* Only the first reason is told; the other threads are brought down by it. */
    if (!aborted_.exchange(true, std::memory_order_relaxed)) say(Level::fatal, message);
    throw RenderAborted(message);
}

void Context::begin_render() {
    aborted_.store(false, std::memory_order_relaxed);
    refused_.store(false, std::memory_order_relaxed);
}

} // namespace vx::shading
