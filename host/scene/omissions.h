// What a render left out: stand-ins, skipped statements, objects without geometry, and so on.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace vx::scene {

enum class Omission : std::uint8_t {
    file,           // a shader library or an include file that cannot be found
    stand_in,       // a shader that is not declared; a stand-in runs in its place
    statement,      // a statement or property without effect
    geometry,       // an object or instance that lost its geometry
    material,       // an object with surfaces that have no material
    texture,        // a texture that cannot be read
    image,          // an image that is not written
    ray,            // rays that end early
    failed_call,    // a call of a shader that returned false
    shader_warning, // a warning from a shader
};

/// Counts omissions by kind and name, for a list at the end of a run. Thread-safe.
class Omissions {
  public:
    /// Names listed per kind at most.
    static constexpr std::size_t kMaxNames = 8;

    void add(Omission kind, std::string_view name, std::uint64_t count = 1);
    [[nodiscard]] bool empty() const;
    /// One line per kind, such as `unreadable textures: "a" (2 times), "b"`. Names are sorted.
    [[nodiscard]] std::vector<std::string> lines() const;

  private:
    static constexpr std::size_t kKinds = 10;
    mutable std::mutex m_mutex;
    std::array<std::map<std::string, std::uint64_t, std::less<>>, kKinds> m_counts;
};

} // namespace vx::scene
