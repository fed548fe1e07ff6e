// Progress of a frame: one line that is updated in place on a terminal, occasional messages or JSON
// objects elsewhere.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace vx::render {

// "frame 1: 73%, 1.25 M rays/s, 12 s left".
[[nodiscard]] std::string progress_text(std::string_view what, std::uint64_t done,
                                        std::uint64_t total, std::uint64_t rays, double seconds);

class Progress {
  public:
    enum class Style { none, lines, terminal, json };
    // `line` receives each message or object, without a newline (not for Style::terminal).
    Progress(Style style, std::function<void(const std::string&)> line);
    ~Progress() { finish(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void start(std::string what);
    // Thread-safe. Updates a terminal at most ten times per second; otherwise emits a message after
    // every tenth of the frame, at least two seconds apart, or an object at most twice per second
    // and at the end of the frame.
    void update(std::uint64_t done, std::uint64_t total, std::uint64_t rays);
    // Clears the line on the terminal. Must be called at the end of a frame and before any message
    // is written to the terminal; the next update redraws the line.
    void finish();

  private:
    using Clock = std::chrono::steady_clock;
    Style m_style;
    std::function<void(const std::string&)> m_line;
    std::mutex m_mutex;
    std::string m_what;
    Clock::time_point m_start{}, m_last{};
    std::uint64_t m_last_part = 0;
    bool m_drawn = false;
};

} // namespace vx::render
