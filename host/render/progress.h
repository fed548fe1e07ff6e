// Tells how far a frame is: on a terminal as one line that changes, elsewhere as lines now and
// then.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace vx::render {

// "73 % of frame 1, 1.25 M rays/s, 12 s left".
[[nodiscard]] std::string progress_text(std::string_view what, std::uint64_t done,
                                        std::uint64_t total, std::uint64_t rays, double seconds);

class Progress {
  public:
    enum class Style { none, lines, terminal };
    // `line` gets finished lines without a newline (Style::lines).
    Progress(Style style, std::function<void(const std::string&)> line);
    ~Progress() { finish(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void start(std::string what);
    // From any thread. At most ten times a second on a terminal; as lines at every tenth part, two
    // seconds apart at least.
    void update(std::uint64_t done, std::uint64_t total, std::uint64_t rays);
    // Wipes the line of a terminal. Again before a message is written, so that it starts on an
    // empty line; the next update draws the line anew.
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
