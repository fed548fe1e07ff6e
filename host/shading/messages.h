// Log messages. One line each, in the form
//
//     MODULE host.thread level: text
//
// The host number is always 0. Newlines in the text become spaces, other control characters \xNN.
// Lines from different threads are not mixed.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string_view>

#include "shader.h"

namespace vx::shading {

// In the order of the verbosity numbers; the values are bits of the bitmap.
enum class Level : int {
    fatal = miERR_FATAL,
    error = miERR_ERROR,
    warning = miERR_WARNING,
    progress = miERR_PROGRESS,
    info = miERR_INFO,
    debug = miERR_DEBUG,
    vdebug = miERR_VDEBUG
};

// The bitmap of verbosity number n: the first n levels (0: none, 7: all).
int verbosity_bits(int n);

class Messages {
  public:
    // `line` has no newline. Called by one thread at a time.
    using Sink = std::function<void(Level, std::string_view line)>;

    // If the sink is empty, lines go to standard error.
    void set_sink(Sink sink);

    void set_bits(int bits) { m_bits.store(bits, std::memory_order_relaxed); }
    [[nodiscard]] int bits() const { return m_bits.load(std::memory_order_relaxed); }
    // For the command line: later calls of set_level (`verbose` in a scene) have no effect.
    void fix_level(int n);
    void set_level(int n);

    [[nodiscard]] bool shows(Level level) const { return (bits() & static_cast<int>(level)) != 0; }
    // If `thread` is negative, the line has no thread number.
    void write(Level level, std::string_view module, int thread, std::string_view text);

  private:
    std::atomic<int> m_bits{miERR_DEFAULT};
    std::atomic<bool> m_fixed{false};
    std::mutex m_mutex;
    Sink m_sink;
};

} // namespace vx::shading
