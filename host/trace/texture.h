// Image textures in memory.
#pragma once

#include "host/shading/context.h"
#include "host/shading/scene_elements.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace vx::trace {

// Pixels of one texture. Row 0 is the lowest; values are as in the file, 0 to 1 for integer types.
class TextureImage {
  public:
    // `components` numbers per pixel: 1 is gray, 2 gray and alpha, 3 RGB, 4 RGBA. Missing alpha
    // is 1.
    TextureImage(int width, int height, int components, std::vector<float> values);
    TextureImage(int width, int height, int components, std::vector<std::uint8_t> values);

    // Interpolates the four pixels around (u, v), both in [0, 1). Border pixels are repeated
    // outside.
    [[nodiscard]] miColor bilinear(float u, float v) const;
    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] int height() const { return m_height; }

  private:
    [[nodiscard]] miColor pixel(int x, int y) const;
    int m_width, m_height, m_components;
    std::vector<float> m_floats;
    std::vector<std::uint8_t> m_bytes; // one of m_floats and m_bytes is empty
};

// Reads a picture file. Returns null and sets `reason` on failure.
[[nodiscard]] std::unique_ptr<TextureImage> read_texture(const std::string& path,
                                                         std::string& reason);

// All textures of a scene. They are read before a frame and kept for the next one.
class Textures {
  public:
    struct Failure {
        std::string texture, reason;
    };
    // Reads the textures that are new or changed since the last call. Returns those that could not
    // be read; lookups in them fail.
    std::vector<Failure> load(shading::Context& context);

    // Null for a tag without pixels.
    [[nodiscard]] const TextureImage* find(miTag tag) const;

  private:
    struct Entry {
        unsigned revision = 0;
        std::unique_ptr<TextureImage> image;
    };
    std::unordered_map<miTag, Entry> m_entries;
};

} // namespace vx::trace
