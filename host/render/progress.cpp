#include "host/render/progress.h"

#include "host/render/json_line.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdio>

namespace vx::render {

namespace {

std::string duration(double seconds) {
    const auto s = std::llround(seconds);
    if (s < 60) return fmt::format("{} s", s);
    if (s < 3600) return fmt::format("{} min {:02} s", s / 60, s % 60);
    return fmt::format("{} h {:02} min", s / 3600, s / 60 % 60);
}

std::string rate(double per_second) {
    if (per_second >= 1e6) return fmt::format("{:.2f} M rays/s", per_second / 1e6);
    if (per_second >= 1e3) return fmt::format("{:.0f} k rays/s", per_second / 1e3);
    return fmt::format("{:.0f} rays/s", per_second);
}

} // namespace

std::string progress_text(std::string_view what, std::uint64_t done, std::uint64_t total,
                          std::uint64_t rays, double seconds) {
    const double fraction =
        total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 1.0;
    std::string text = fmt::format("{}: {:.0f}%", what, 100.0 * fraction);
    if (seconds > 0.0) text += ", " + rate(static_cast<double>(rays) / seconds);
    if (fraction > 0.0 && fraction < 1.0)
        text += ", " + duration(seconds * (1.0 - fraction) / fraction) + " left";
    return text;
}

Progress::Progress(Style style, std::function<void(const std::string&)> line)
    : m_style(style), m_line(std::move(line)) {}

void Progress::start(std::string what) {
    const std::scoped_lock lock(m_mutex);
    m_what = std::move(what);
    m_start = m_last = Clock::now();
    m_last_part = 0;
}

void Progress::update(std::uint64_t done, std::uint64_t total, std::uint64_t rays) {
    if (m_style == Style::none) return;
    std::unique_lock lock(m_mutex);
    const Clock::time_point now = Clock::now();
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    if (m_style == Style::terminal) {
        if (now - m_last < std::chrono::milliseconds(100)) return;
        m_last = now;
        const std::string text = progress_text(m_what, done, total, rays, seconds);
        (void)std::fprintf(stderr, "\r\033[K%s", text.c_str());
        (void)std::fflush(stderr);
        m_drawn = true;
        return;
    }
    if (m_style == Style::json) {
        if (done < total && now - m_last < std::chrono::milliseconds(500)) return;
        m_last = now;
        const std::string text = json_line({{"event", "progress"},
                                            {"what", m_what},
                                            {"done", done},
                                            {"total", total},
                                            {"eye_rays", rays},
                                            {"seconds", seconds}});
        lock.unlock();
        m_line(text);
        return;
    }
    const std::uint64_t part = total > 0 ? done * 10 / total : 10;
    if (part <= m_last_part || part >= 10 || now - m_last < std::chrono::seconds(2)) return;
    m_last_part = part;
    m_last = now;
    const std::string text = progress_text(m_what, done, total, rays, seconds);
    // The callback calls finish(), which takes the lock.
    lock.unlock();
    m_line(text);
}

void Progress::finish() {
    const std::scoped_lock lock(m_mutex);
    if (!m_drawn) return;
    (void)std::fputs("\r\033[K", stderr);
    (void)std::fflush(stderr);
    m_drawn = false;
}

} // namespace vx::render
