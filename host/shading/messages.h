/*
 * Log messages. One line each, in the form
 *
 *     MODULE host.thread level: text
 *
 * The host number is always 0. Newlines inside the text become blanks. Lines are written whole,
 * from any number of threads.
 */
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string_view>

#include "shader.h"

namespace vx::shading {

/* In the order of the verbosity numbers; the values are those of the bitmap. */
enum class Level : int {
    fatal = miERR_FATAL,
    error = miERR_ERROR,
    warning = miERR_WARNING,
    progress = miERR_PROGRESS,
    info = miERR_INFO,
    debug = miERR_DEBUG,
    vdebug = miERR_VDEBUG
};

/* The bitmap of verbosity number n: its first n classes (0 none ... 7 everything). */
int verbosity_bits(int n);

class Messages {
  public:
    /* `line` has no newline. Called by one thread at a time. */
    using Sink = std::function<void(Level, std::string_view line)>;

    /* An empty sink stands for standard error. */
    void set_sink(Sink sink);

    void set_bits(int bits) { m_bits.store(bits, std::memory_order_relaxed); }
    [[nodiscard]] int bits() const { return m_bits.load(std::memory_order_relaxed); }
    /* The command line's level: later set_level calls (from `verbose` in a scene) do nothing. */
    void fix_level(int n);
    void set_level(int n);

    [[nodiscard]] bool shows(Level level) const { return (bits() & static_cast<int>(level)) != 0; }
    /* thread < 0: not known, the number is left out. */
    void write(Level level, std::string_view module, int thread, std::string_view text);
    /* Messages of a level so far, shown or not. */
    [[nodiscard]] std::uint64_t count(Level level) const;

  private:
    std::atomic<int> m_bits{miERR_DEFAULT};
    std::atomic<bool> m_fixed{false};
    std::array<std::atomic<std::uint64_t>, 7> m_counts{};
    std::mutex m_mutex;
    Sink m_sink;
};

} // namespace vx::shading
