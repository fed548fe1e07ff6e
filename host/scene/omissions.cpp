#include "host/scene/omissions.h"

#include <algorithm>

namespace vx::scene {

namespace {

constexpr std::size_t kMaxNameLength = 100;

// In the order of the enumerators.
constexpr std::array<std::string_view, 10> kTitles = {"missing files",
                                                      "stand-ins for undeclared shaders",
                                                      "statements without effect",
                                                      "objects without geometry",
                                                      "objects without materials",
                                                      "unreadable textures",
                                                      "images not written",
                                                      "rays",
                                                      "shader calls that returned false",
                                                      "warnings from shaders"};

std::string shortened(const std::string& name) {
    return name.size() <= kMaxNameLength ? name : name.substr(0, kMaxNameLength) + "...";
}

} // namespace

void Omissions::add(Omission kind, std::string_view name, std::uint64_t count) {
    const std::lock_guard lock(m_mutex);
    auto& counts = m_counts[static_cast<std::size_t>(kind)];
    const auto known = counts.find(name);
    if (known != counts.end())
        known->second += count;
    else
        counts.emplace(name, count);
}

bool Omissions::empty() const {
    const std::lock_guard lock(m_mutex);
    return std::all_of(m_counts.begin(), m_counts.end(),
                       [](const auto& counts) { return counts.empty(); });
}

std::vector<std::string> Omissions::lines() const {
    const std::lock_guard lock(m_mutex);
    std::vector<std::string> lines;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        if (m_counts[kind].empty()) continue;
        std::string line(kTitles[kind]);
        std::size_t listed = 0;
        for (const auto& [name, count] : m_counts[kind]) {
            if (listed == kMaxNames) break;
            line += (listed++ == 0 ? ": " : ", ") + shortened(name);
            if (count > 1) line += " (" + std::to_string(count) + " times)";
        }
        if (m_counts[kind].size() > listed)
            line += ", and " + std::to_string(m_counts[kind].size() - listed) + " more";
        lines.push_back(std::move(line));
    }
    return lines;
}

} // namespace vx::scene
