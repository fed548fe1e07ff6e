#include "host/render/outputs.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace vx::render {

namespace {

namespace fs = std::filesystem;
using shading::Level;

// Of several pixel types separated by commas, only the first is written.
std::string first_type(const std::string& types) {
    return types.substr(0, types.find(','));
}

image::WriteRequest request(const scene::Output& output) {
    image::WriteRequest file;
    file.path = output.file;
    file.format = output.format;
    file.compression = output.compression;
    file.quality = output.quality.value_or(0);
    file.dpi = output.dpi.value_or(0.0f);
    return file;
}

image::WriteRequest request(const scene::FrameBuffer& buffer) {
    image::WriteRequest file;
    file.path = buffer.filename;
    file.format = buffer.filetype;
    file.compression = buffer.compression;
    file.quality = buffer.quality.value_or(0);
    file.dpi = static_cast<float>(buffer.dpi.value_or(0));
    return file;
}

// Collects the files of one camera in the order of the scene.
class OutputList {
  public:
    OutputList(const RenderSettings& settings, shading::Context& context)
        : m_settings(settings), m_context(context) {}

    // Adds a file whose path and format are as written in the scene. `types`: its pixel types.
    void add(image::WriteRequest file, const std::string& types) {
        if (m_context.substitute) file.path = m_context.substitute(file.path.string());
        if (!types.empty()) file.type = parse_type(file, first_type(types));
        if (const std::size_t comma = types.find(','); comma != std::string::npos)
            m_context.omissions.add(
                scene::Omission::image,
                fmt::format("\"{}\" of \"{}\"", types.substr(comma + 1), file.path.string()));
        override_file(file);
        m_files.push_back(std::move(file));
    }

    [[nodiscard]] bool empty() const { return m_files.empty(); }
    std::vector<image::WriteRequest> take() { return std::move(m_files); }

  private:
    [[nodiscard]] std::optional<image::PixelType> parse_type(const image::WriteRequest& file,
                                                             const std::string& type) const {
        const auto parsed = image::parse_pixel_type(type);
        if (!parsed) {
            m_context.omissions.add(scene::Omission::statement, "unknown pixel type");
            m_context.messages.write(
                Level::warning, "IMG", 0,
                fmt::format("{}: unknown pixel type \"{}\", using the default of the file format",
                            file.path.string(), type));
        }
        return parsed;
    }

    // -file_name and -file_type apply to color files only, -file_name to the first one.
    void override_file(image::WriteRequest& file) const {
        if (!has_surface_data(file)) {
            const bool first = std::all_of(m_files.begin(), m_files.end(), has_surface_data);
            if (first && !m_settings.file_name.empty()) file.path = m_settings.file_name;
            if (!m_settings.file_type.empty()) {
                file.format = m_settings.file_type;
                file.type.reset();
            }
        }
        if (!m_settings.file_dir.empty())
            file.path = fs::path(m_settings.file_dir) /
                        (file.path.is_absolute() ? file.path.filename() : file.path);
    }

    const RenderSettings& m_settings;
    shading::Context& m_context;
    std::vector<image::WriteRequest> m_files;
};

} // namespace

bool has_surface_data(const image::WriteRequest& file) {
    if (!file.type) return false;
    switch (file.type->channels) {
    case image::Channels::depth:
    case image::Channels::normal:
    case image::Channels::motion:
    case image::Channels::label:
        return true;
    default:
        return false;
    }
}

std::vector<image::WriteRequest> output_files(const scene::Camera& camera,
                                              const RenderSettings& settings,
                                              shading::Context& context) {
    OutputList list(settings, context);
    for (const scene::Output& output : camera.outputs) {
        if (output.shader.empty()) {
            list.add(request(output), output.types);
        } else {
            context.omissions.add(scene::Omission::statement, "output shader");
            context.messages.write(Level::warning, "RENDER", 0,
                                   "output shaders are not supported; ignored");
        }
    }
    for (const scene::FrameBuffer& buffer : camera.framebuffers) {
        if (buffer.filename.empty()) continue;
        if (!buffer.user.value_or(false)) {
            list.add(request(buffer), buffer.datatype);
            continue;
        }
        context.omissions.add(scene::Omission::image, fmt::format("\"{}\"", buffer.filename));
        context.messages.write(
            Level::warning, "RENDER", 0,
            fmt::format("user frame buffers are not supported; \"{}\" is not written to \"{}\"",
                        buffer.name, buffer.filename));
    }
    if (list.empty() && !settings.file_name.empty()) list.add({}, "");
    return list.take();
}

} // namespace vx::render
