#include "host/shading/crash.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>

#include <pthread.h>
#include <unistd.h>

#include "host/shading/context.h"

namespace vx::shading {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

struct Signal {
    int number;
    std::string_view name;
};
constexpr std::array<Signal, 5> kSignals{{{SIGSEGV, "SIGSEGV"},
                                          {SIGBUS, "SIGBUS"},
                                          {SIGFPE, "SIGFPE"},
                                          {SIGILL, "SIGILL"},
                                          {SIGABRT, "SIGABRT"}}};

// Of a handler, which formats a few lines of text.
constexpr std::size_t kStackSize = std::size_t{64} << 10;
// A frame that does not fit on a stack touches memory at most this far below it.
constexpr std::uintptr_t kBelowStack = std::uintptr_t{1} << 20;

std::atomic<void (*)()> clean_up_files{nullptr};
std::atomic<bool> installed{false};
thread_local constinit const Activity* innermost = nullptr;
thread_local constinit std::uintptr_t lowest_address = 0; // of the thread's own stack

// Installed while the thread lives.
class HandlerStack {
  public:
    HandlerStack() = default;
    HandlerStack(const HandlerStack&) = delete;
    HandlerStack& operator=(const HandlerStack&) = delete;
    ~HandlerStack() {
        if (!m_memory) return;
        stack_t none{};
        none.ss_flags = SS_DISABLE;
        sigaltstack(&none, nullptr);
    }
    void install() noexcept {
        if (m_memory) return;
        m_memory.reset(new (std::nothrow) std::byte[kStackSize]);
        if (!m_memory) return;
        stack_t stack{};
        stack.ss_sp = m_memory.get();
        stack.ss_size = kStackSize;
        sigaltstack(&stack, nullptr);
    }

  private:
    std::unique_ptr<std::byte[]> m_memory;
};
thread_local HandlerStack handler_stack;

// A line on standard error, in async-signal-safe functions. Long lines are written in parts.
class Line {
  public:
    Line() = default;
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line() {
        put('\n');
        flush();
    }
    Line& operator<<(std::string_view text) noexcept {
        for (const char c : text)
            put(static_cast<unsigned char>(c) < ' ' || c == '\x7f' ? '?' : c);
        return *this;
    }
    Line& operator<<(std::uint32_t number) noexcept {
        std::array<char, 16> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        return *this << std::string_view(digits.data(), end);
    }

  private:
    void put(char c) noexcept {
        if (m_size == m_text.size()) flush();
        m_text[m_size++] = c;
    }
    void flush() noexcept {
        for (std::size_t at = 0; at < m_size;) {
            const ssize_t n = ::write(STDERR_FILENO, m_text.data() + at, m_size - at);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            at += static_cast<std::size_t>(n);
        }
        m_size = 0;
    }

    std::array<char, 1024> m_text{};
    std::size_t m_size = 0;
};

std::string_view name_of(int number) {
    for (const Signal& signal : kSignals)
        if (signal.number == number) return signal.name;
    return "a signal";
}

bool is_stack_overflow(int number, const siginfo_t& info) {
    if (number != SIGSEGV || lowest_address == 0) return false;
    const auto address = reinterpret_cast<std::uintptr_t>(info.si_addr);
    return address < lowest_address + kStackSize && address + kBelowStack >= lowest_address;
}

// "RC 0.THREAD fatal: WHAT crashed (SIGNAL)", the place in the scene and the library.
void write_message(int number, const siginfo_t& info, const ThreadContext* thread) {
    Line line;
    line << "RC 0." << static_cast<std::uint32_t>(thread == nullptr ? 0 : thread->number)
         << " fatal: ";
    const Function* const function =
        innermost == nullptr && thread != nullptr ? &thread->top->function : nullptr;
    if (function != nullptr)
        line << "shader \"" << function->declaration->name() << "\" (instance \"" << function->name
             << "\")";
    else
        line << innermost->what << " \"" << innermost->name << "\"";
    line << " crashed: " << name_of(number);
    if (is_stack_overflow(number, info)) line << " (stack overflow)";
    if (function == nullptr) return;
    if (!function->file.empty()) line << ", " << function->file << ":" << function->line;
    if (!function->declaration->library.empty())
        line << ", library " << function->declaration->library;
}

void use_default_action(int number, const siginfo_t& info) {
    (void)std::signal(number, SIG_DFL);
    // A fault repeats when the handler returns; a signal that was sent does not.
    if (info.si_code <= 0) (void)std::raise(number);
}

extern "C" void on_crash(int number, siginfo_t* info, void* /*registers*/) {
    const ThreadContext* const thread = Context::thread_if_current();
    const bool in_shader = thread != nullptr && thread->top != nullptr;
    if (!in_shader && innermost == nullptr) return use_default_action(number, *info);
    // Several threads may crash at the same time, and so may this handler.
    static std::atomic<int> crashes{0};
    static thread_local constinit bool handling = false;
    if (handling) return use_default_action(number, *info);
    handling = true;
    if (crashes.fetch_add(1) > 0)
        for (;;)
            ::pause();
    write_message(number, *info, thread);
    if (void (*const clean_up)() = clean_up_files.load()) clean_up();
    ::_exit(kCrashStatus);
}

} // namespace

void report_crashes(void (*clean_up)()) {
    if (kSanitized) return;
    clean_up_files.store(clean_up);
    installed.store(true);
    prepare_thread_for_crashes();
    struct sigaction action {};
    action.sa_sigaction = on_crash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (const Signal& signal : kSignals)
        sigaction(signal.number, &action, nullptr);
}

void prepare_thread_for_crashes() noexcept {
    if (!installed.load(std::memory_order_relaxed)) return;
    handler_stack.install();
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return;
    void* address = nullptr;
    std::size_t size = 0;
    if (pthread_attr_getstack(&attributes, &address, &size) == 0)
        lowest_address = reinterpret_cast<std::uintptr_t>(address);
    pthread_attr_destroy(&attributes);
}

Activity::Activity(const char* activity, const std::string& of) noexcept
    : what(activity), name(of), outer(innermost) {
    innermost = this;
}

Activity::~Activity() {
    innermost = outer;
}

} // namespace vx::shading
