#include "host/trace/texture.h"

#include "host/image/formats.h"
#include "host/shading/crash.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vx::trace {

namespace {

std::size_t value_count(int width, int height, int components) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
           static_cast<std::size_t>(components);
}

template <class T>
void turn_over(std::vector<T>& values, int height) {
    const std::size_t line = values.size() / static_cast<std::size_t>(height);
    for (std::size_t low = 0, high = static_cast<std::size_t>(height) - 1; low < high;
         ++low, --high)
        std::swap_ranges(values.begin() + static_cast<std::ptrdiff_t>(low * line),
                         values.begin() + static_cast<std::ptrdiff_t>((low + 1) * line),
                         values.begin() + static_cast<std::ptrdiff_t>(high * line));
}

// A texture whose pixels are part of the scene, lowest row first.
std::unique_ptr<TextureImage> literal(const scene::Texture::Pixels& pixels, std::string& reason) {
    const std::int64_t places = std::int64_t{pixels.width} * pixels.height;
    const int wide = pixels.bytes_per_component;
    if (pixels.width <= 0 || pixels.height <= 0 || (wide != 1 && wide != 2 && wide != 4)) {
        reason = "its size is not sensible";
        return nullptr;
    }
    const auto given = static_cast<std::int64_t>(pixels.bytes.size());
    const std::int64_t components = given / places / wide;
    if (components < 1) {
        reason = fmt::format("it has {} bytes, too few for {} x {} pixels", given, pixels.width,
                             pixels.height);
        return nullptr;
    }
    const int n = static_cast<int>(std::min<std::int64_t>(components, 4));
    std::vector<float> values(value_count(pixels.width, pixels.height, n));
    const auto byte = [&](std::size_t at) { return std::to_integer<unsigned>(pixels.bytes[at]); };
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t at = i * static_cast<std::size_t>(wide);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < static_cast<std::size_t>(wide); ++k)
            bits = bits << 8 | byte(at + k);
        if (wide == 1)
            values[i] = static_cast<float>(bits) / 255.0f;
        else if (wide == 2)
            values[i] = static_cast<float>(bits) / 65535.0f;
        else
            std::memcpy(&values[i], &bits, sizeof bits);
    }
    return std::make_unique<TextureImage>(pixels.width, pixels.height, n, std::move(values));
}

} // namespace

TextureImage::TextureImage(int width, int height, int components, std::vector<float> values)
    : m_width(width), m_height(height), m_components(components), m_floats(std::move(values)) {}

TextureImage::TextureImage(int width, int height, int components, std::vector<std::uint8_t> values)
    : m_width(width), m_height(height), m_components(components), m_bytes(std::move(values)) {}

miColor TextureImage::pixel(int x, int y) const {
    x = std::clamp(x, 0, m_width - 1);
    y = std::clamp(y, 0, m_height - 1);
    const std::size_t at = (static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) +
                            static_cast<std::size_t>(x)) *
                           static_cast<std::size_t>(m_components);
    const auto value = [&](int i) {
        const std::size_t k = at + static_cast<std::size_t>(i);
        return m_bytes.empty() ? m_floats[k] : static_cast<float>(m_bytes[k]) / 255.0f;
    };
    switch (m_components) {
    case 1:
        return {value(0), value(0), value(0), 1.0f};
    case 2:
        return {value(0), value(0), value(0), value(1)};
    case 3:
        return {value(0), value(1), value(2), 1.0f};
    default:
        return {value(0), value(1), value(2), value(3)};
    }
}

miColor TextureImage::bilinear(float u, float v) const {
    const float x = u * static_cast<float>(m_width) - 0.5f;
    const float y = v * static_cast<float>(m_height) - 0.5f;
    const float fx = std::floor(x);
    const float fy = std::floor(y);
    const int ix = static_cast<int>(fx);
    const int iy = static_cast<int>(fy);
    const float tx = x - fx;
    const float ty = y - fy;
    const auto mix = [](const miColor& a, const miColor& b, float t) {
        return miColor{a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t,
                       a.a + (b.a - a.a) * t};
    };
    return mix(mix(pixel(ix, iy), pixel(ix + 1, iy), tx),
               mix(pixel(ix, iy + 1), pixel(ix + 1, iy + 1), tx), ty);
}

std::unique_ptr<TextureImage> read_texture(const std::string& path, std::string& reason) {
    image::Pixels pixels;
    if (const auto failure = image::read_picture(path, pixels)) {
        reason = *failure;
        return nullptr;
    }
    if (!pixels.bytes.empty()) {
        turn_over(pixels.bytes, pixels.height);
        return std::make_unique<TextureImage>(pixels.width, pixels.height, pixels.components,
                                              std::move(pixels.bytes));
    }
    turn_over(pixels.floats, pixels.height);
    return std::make_unique<TextureImage>(pixels.width, pixels.height, pixels.components,
                                          std::move(pixels.floats));
}

std::vector<Textures::Failure> Textures::load(shading::Context& context) {
    std::vector<Failure> failures;
    context.database.for_each(miSCENE_TEXTURE, [&](miTag tag, void* element) {
        if (context.interrupted()) return;
        const auto& texture = *static_cast<const shading::TextureElement*>(element);
        const auto found = m_entries.find(tag);
        if (found != m_entries.end() && found->second.revision == texture.revision &&
            found->second.image)
            return;
        Entry entry;
        entry.revision = texture.revision;
        std::string reason;
        if (texture.description.pixels) {
            entry.image = literal(*texture.description.pixels, reason);
        } else {
            const std::string& file = texture.description.file;
            const std::string path = context.substitute ? context.substitute(file) : file;
            const shading::Activity reading("reader of texture", path);
            entry.image = read_texture(path, reason);
            if (!entry.image) reason = fmt::format("{}: {}", path, reason);
        }
        if (!entry.image) failures.push_back({texture.description.name, reason});
        m_entries[tag] = std::move(entry);
    });
    return failures;
}

const TextureImage* Textures::find(miTag tag) const {
    const auto found = m_entries.find(tag);
    return found == m_entries.end() ? nullptr : found->second.image.get();
}

} // namespace vx::trace
