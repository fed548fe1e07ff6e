#include "host/image/write.h"

#include <OpenImageIO/imageio.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <system_error>
#include <vector>

#include <unistd.h>

namespace vx::image {

namespace fs = std::filesystem;

namespace {

// Makes the folders of a path and takes the new ones away again unless told to keep them.
class NewFolders {
  public:
    std::error_code make(const fs::path& folder) {
        std::error_code error;
        for (fs::path p = folder; !p.empty() && !fs::exists(p, error); p = p.parent_path()) {
            m_made.push_back(p);
            if (!p.has_relative_path()) break;
        }
        error.clear();
        if (!m_made.empty()) fs::create_directories(folder, error);
        return error;
    }
    void keep() { m_made.clear(); }
    NewFolders() = default;
    NewFolders(const NewFolders&) = delete;
    NewFolders& operator=(const NewFolders&) = delete;
    ~NewFolders() {
        std::error_code ignored;
        for (const fs::path& p : m_made)
            fs::remove(p, ignored);
    }

  private:
    std::vector<fs::path> m_made; // innermost first
};

// A file that is removed unless it got its final name.
class PartialFile {
  public:
    explicit PartialFile(const fs::path& target)
        : m_path(target.parent_path() /
                 fmt::format(".{}.{}.part", target.filename().string(), ::getpid())) {}
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;
    ~PartialFile() {
        std::error_code ignored;
        if (!m_path.empty()) fs::remove(m_path, ignored);
    }
    [[nodiscard]] const fs::path& path() const { return m_path; }
    std::error_code rename_to(const fs::path& target) {
        std::error_code error;
        fs::rename(m_path, target, error);
        if (!error) m_path.clear();
        return error;
    }

  private:
    fs::path m_path;
};

int channel_count(Channels channels) {
    switch (channels) {
    case Channels::rgba:
        return 4;
    case Channels::rgb:
    case Channels::normal:
    case Channels::motion:
        return 3;
    case Channels::alpha:
    case Channels::depth:
    case Channels::label:
        return 1;
    }
    return 4;
}

float encoded(float value, const WriteRequest& request, bool integer) {
    if (!integer) return value;
    if (!(value > 0.0f)) return 0.0f;
    value = std::min(value, 1.0f);
    return request.gamma > 0.0f && request.gamma != 1.0f ? std::pow(value, 1.0f / request.gamma)
                                                         : value;
}

// One picture line, interleaved.
void fill_line(std::vector<float>& line, const Frame& frame, int y, const PixelType& type,
               const WriteRequest& request) {
    const bool integer = type.depth == Depth::bits8 || type.depth == Depth::bits16;
    std::size_t at = 0;
    const auto put = [&](float v) { line[at++] = v; };
    const auto put_vector = [&](const miVector& v) {
        put(v.x);
        put(v.y);
        put(v.z);
    };
    for (int x = 0; x < frame.width(); ++x) {
        switch (type.channels) {
        case Channels::rgb:
        case Channels::rgba: {
            const miColor c = frame.color(x, y);
            put(encoded(c.r, request, integer));
            put(encoded(c.g, request, integer));
            put(encoded(c.b, request, integer));
            // Alpha is a coverage, not a light value: no gamma.
            if (type.channels == Channels::rgba)
                put(integer ? (c.a > 0.0f ? std::min(c.a, 1.0f) : 0.0f) : c.a);
            break;
        }
        case Channels::alpha: {
            const float a = frame.color(x, y).a;
            put(integer ? (a > 0.0f ? std::min(a, 1.0f) : 0.0f) : a);
            break;
        }
        case Channels::depth:
            put(frame.depth(x, y, type.interpolated));
            break;
        case Channels::normal:
            put_vector(frame.normal(x, y, type.interpolated));
            break;
        case Channels::motion:
            put_vector(frame.motion(x, y, type.interpolated));
            break;
        case Channels::label:
            put(0.0f); // labels have a path of their own: a float cannot hold all of them
            break;
        }
    }
}

OIIO::TypeDesc file_type(const PixelType& type) {
    if (type.channels == Channels::label) return OIIO::TypeDesc::UINT32;
    switch (type.depth) {
    case Depth::bits8:
        return OIIO::TypeDesc::UINT8;
    case Depth::bits16:
        return OIIO::TypeDesc::UINT16;
    case Depth::half:
        return OIIO::TypeDesc::HALF;
    case Depth::single:
        return OIIO::TypeDesc::FLOAT;
    }
    return OIIO::TypeDesc::UINT8;
}

OIIO::ImageSpec make_spec(const Frame& frame, const PixelType& type, const WriteRequest& request) {
    OIIO::ImageSpec spec(frame.width(), frame.height(), channel_count(type.channels),
                         file_type(type));
    switch (type.channels) {
    case Channels::alpha:
        spec.channelnames = {"A"};
        spec.alpha_channel = 0;
        break;
    case Channels::depth:
        spec.channelnames = {"Z"};
        spec.z_channel = 0;
        break;
    case Channels::normal:
        spec.channelnames = {"N.x", "N.y", "N.z"};
        break;
    case Channels::motion:
        spec.channelnames = {"M.x", "M.y", "M.z"};
        break;
    case Channels::label:
        spec.channelnames = {"tag"};
        break;
    default:
        break;
    }
    if (!request.compression.empty()) spec.attribute("compression", request.compression);
    if (request.quality > 0) spec.attribute("CompressionQuality", std::min(request.quality, 100));
    if (request.dpi > 0.0f) {
        spec.attribute("XResolution", request.dpi);
        spec.attribute("YResolution", request.dpi);
        spec.attribute("ResolutionUnit", "in");
    }
    // Formats that want colours not multiplied by alpha would otherwise divide by it, which shows
    // nothing sensible for shaders that leave alpha at 0.
    spec.attribute("oiio:UnassociatedAlpha", 1);
    return spec;
}

bool write_lines(OIIO::ImageOutput& out, const Frame& frame, const PixelType& type,
                 const WriteRequest& request) {
    const int height = frame.height();
    if (type.channels == Channels::label) {
        std::vector<std::uint32_t> line(static_cast<std::size_t>(frame.width()));
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < frame.width(); ++x)
                line[static_cast<std::size_t>(x)] = frame.label(x, height - 1 - y);
            // Formats without 32-bit integers would squeeze labels as if they were shades of grey.
            if (out.spec().format == OIIO::TypeDesc::UINT32) {
                if (!out.write_scanline(y, 0, OIIO::TypeDesc::UINT32, line.data())) return false;
                continue;
            }
            std::vector<float> shades(line.size());
            const float full = out.spec().format == OIIO::TypeDesc::UINT8    ? 255.0f
                               : out.spec().format == OIIO::TypeDesc::UINT16 ? 65535.0f
                                                                             : 1.0f;
            std::transform(line.begin(), line.end(), shades.begin(),
                           [&](std::uint32_t v) { return static_cast<float>(v) / full; });
            if (!out.write_scanline(y, 0, OIIO::TypeDesc::FLOAT, shades.data())) return false;
        }
        return true;
    }
    std::vector<float> line(static_cast<std::size_t>(frame.width()) *
                            static_cast<std::size_t>(channel_count(type.channels)));
    for (int y = 0; y < height; ++y) {
        fill_line(line, frame, height - 1 - y, type, request);
        if (!out.write_scanline(y, 0, OIIO::TypeDesc::FLOAT, line.data())) return false;
    }
    return true;
}

} // namespace

bool can_write(const std::string& format) {
    const bool known = OIIO::ImageOutput::create(std::string(writer_name(format))) != nullptr;
    if (!known) (void)OIIO::geterror();
    return known;
}

std::optional<std::string> write_picture(const Frame& frame, const WriteRequest& request) {
    std::string format = request.format;
    if (format.empty()) {
        format = request.path.extension().string();
        if (!format.empty()) format.erase(0, 1);
    }
    if (format.empty()) return "neither the format nor the file's extension says what to write";
    if (!request.path.has_filename()) return "the file has no name";

    const auto out = OIIO::ImageOutput::create(std::string(writer_name(format)));
    if (!out) {
        (void)OIIO::geterror();
        return fmt::format("pictures of the format '{}' cannot be written", format);
    }
    PixelType type = request.type.value_or(best_pixel_type(format));
    if (type.channels == Channels::rgba && !out->supports("alpha")) type.channels = Channels::rgb;

    NewFolders folders;
    if (const auto error = folders.make(request.path.parent_path()))
        return fmt::format("its folder cannot be made: {}", error.message());
    PartialFile partial(request.path);
    if (!out->open(partial.path().string(), make_spec(frame, type, request)))
        return fmt::format("cannot open for writing: {}", out->geterror());
    if (!write_lines(*out, frame, type, request)) {
        std::string reason = out->geterror();
        out->close();
        return fmt::format("cannot write: {}", reason);
    }
    if (!out->close()) return fmt::format("cannot finish writing: {}", out->geterror());
    if (const auto error = partial.rename_to(request.path))
        return fmt::format("cannot rename the finished file: {}", error.message());
    folders.keep();
    return std::nullopt;
}

} // namespace vx::image
