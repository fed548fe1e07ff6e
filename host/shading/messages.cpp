#include "host/shading/messages.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <string>
#include <utility>

#include "host/scene/printable.h"

namespace vx::shading {

namespace {

std::string_view name_of(Level level) {
    constexpr std::array<std::string_view, 7> kNames = {"fatal", "error", "warning", "progress",
                                                        "info",  "debug", "vdebug"};
    return kNames[static_cast<std::size_t>(std::countr_zero(static_cast<unsigned>(level)))];
}

} // namespace

int verbosity_bits(int n) {
    if (n <= 0) return miERR_NONE;
    return n >= 7 ? int{miERR_ALL} : (1 << n) - 1;
}

void Messages::set_sink(Sink sink) {
    const std::lock_guard lock(m_mutex);
    m_sink = std::move(sink);
}

void Messages::fix_level(int n) {
    m_fixed.store(true, std::memory_order_relaxed);
    set_bits(verbosity_bits(n));
}

void Messages::set_level(int n) {
    if (!m_fixed.load(std::memory_order_relaxed)) set_bits(verbosity_bits(n));
}

void Messages::write(Level level, std::string_view module, int thread, std::string_view text) {
    if (!shows(level)) return;

    std::string line;
    line.reserve(module.size() + text.size() + 32);
    line.append(module).append(" 0");
    if (thread >= 0) line.append(".").append(std::to_string(thread));
    line.append(" ").append(name_of(level)).append(": ");
    while (!text.empty() && text.back() == '\n')
        text.remove_suffix(1);
    std::string one_line(text);
    std::replace_if(
        one_line.begin(), one_line.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    line += scene::printable(one_line);

    const std::lock_guard lock(m_mutex);
    if (m_sink) {
        m_sink(level, line);
        return;
    }
    line.push_back('\n');
    (void)std::fwrite(line.data(), 1, line.size(), stderr);
    (void)std::fflush(stderr);
}

} // namespace vx::shading
