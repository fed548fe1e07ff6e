#include "cache/picture/scene_camera.h"

#include "cache/cloud/error.h"

#include "host/scene/reader.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <set>

namespace vx::cache {

namespace {

Matrix to_double(const scene::Matrix& m) {
    Matrix out;
    std::copy(m.begin(), m.end(), out.getValue());
    return out;
}

// Keeps cameras, instances and groups; stops at the requested render command.
class CameraFinder final : public scene::SceneReceiver {
  public:
    explicit CameraFinder(std::string wanted) : m_wanted(std::move(wanted)) {}

    struct Found {
        std::string instance;
        const scene::Camera* camera;
        Matrix to_camera;
    };
    // Call after reading.
    std::optional<Found> find() const {
        std::string name = m_instance;
        if (name.empty() && !m_wanted.empty()) name = instance_of(m_wanted);
        if (name.empty() && m_wanted.empty() && names().size() == 1) name = *names().begin();
        if (name.empty()) return {};
        const scene::Instance& instance = m_instances.at(name);
        const Matrix above;
        std::set<std::string> path;
        Matrix to_camera;
        if (!descend(m_root, name, above, path, to_camera)) {
            to_camera = above * transform(instance);
        }
        return Found{name, &m_cameras.at(instance.item), to_camera};
    }
    std::set<std::string> names() const {
        std::set<std::string> all;
        for (const auto& [name, instance] : m_instances) {
            if (m_cameras.contains(instance.item)) all.insert(name);
        }
        return all;
    }

    void on_link(const std::string&, scene::Location) override {}
    void on_declare(const scene::Declaration&) override {}
    void on_verbose(int) override {}
    void on_echo(const std::string&) override {}
    void on_options(const scene::Options&) override {}
    void on_camera(const scene::Camera& e) override { m_cameras[e.name] = e; }
    void on_light(const scene::Light&) override {}
    void on_texture(const scene::Texture&) override {}
    void on_material(const scene::Material&) override {}
    void on_shader(const scene::NamedShader&) override {}
    void on_data(const scene::UserData&) override {}
    void on_object(scene::Object&&) override {}
    void on_instance(const scene::Instance& e) override { m_instances[e.name] = e; }
    void on_group(const scene::InstanceGroup& e) override { m_groups[e.name] = e.members; }
    void on_delete(const std::string& name, scene::Location) override {
        m_cameras.erase(name);
        m_instances.erase(name);
        m_groups.erase(name);
    }
    void on_call(const scene::ShaderList&, const std::string&, const std::string&,
                 scene::Location) override {}
    bool on_render(const std::string& root, const std::string& camera, const std::string&,
                   scene::Location) override {
        if (!m_wanted.empty() && camera != instance_of(m_wanted)) {
            if (m_root.empty()) m_root = root;
            return true;
        }
        m_root = root;
        m_instance = camera;
        return false;
    }

  private:
    static Matrix transform(const scene::Instance& instance) {
        return to_double(instance.transform.value_or(scene::kIdentityMatrix));
    }
    std::string instance_of(const std::string& wanted) const {
        if (names().contains(wanted)) return wanted;
        for (const auto& [name, instance] : m_instances) {
            if (instance.item == wanted && m_cameras.contains(wanted)) return name;
        }
        return {};
    }
    bool descend(const std::string& group, const std::string& wanted, const Matrix& above,
                 std::set<std::string>& path, Matrix& out) const {
        const auto members = m_groups.find(group);
        if (members == m_groups.end() || !path.insert(group).second) return false;
        for (const std::string& member : members->second) {
            const auto instance = m_instances.find(member);
            if (instance == m_instances.end() || instance->second.hide) continue;
            const Matrix here = above * transform(instance->second);
            if (member == wanted) {
                out = here;
                return true;
            }
            if (descend(instance->second.item, wanted, here, path, out)) return true;
        }
        path.erase(group);
        return false;
    }

    std::string m_wanted;
    std::string m_root, m_instance; // of the render command
    std::map<std::string, scene::Camera> m_cameras;
    std::map<std::string, scene::Instance> m_instances;
    std::map<std::string, std::vector<std::string>> m_groups;
};

// Splits "scene.mi:name" at the first colon that ends the name of a file; names of elements may
// contain colons.
std::pair<std::string, std::string> split(const std::string& text) {
    std::error_code ignored;
    for (std::size_t colon = 0; !std::filesystem::exists(text, ignored);) {
        colon = text.find(':', colon + 1);
        if (colon == std::string::npos) break;
        if (std::filesystem::is_regular_file(text.substr(0, colon), ignored)) {
            return {text.substr(0, colon), text.substr(colon + 1)};
        }
    }
    return {text, {}};
}

} // namespace

SceneCamera read_scene_camera(const std::string& text, int width, int height) {
    const auto [file, wanted] = split(text);
    CameraFinder finder(wanted);
    std::string first_error;
    scene::Diagnostics diagnostics([&](const scene::Diagnostic& d) {
        if (d.severity == scene::Severity::error && first_error.empty()) first_error = format(d);
    });
    scene::Substitution substitution;
    scene::ReaderSettings settings;
    std::error_code ignored;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", ignored);
    settings.built_in_includes = {(program.parent_path().parent_path() / "include").string(),
                                  "/usr/include"};
    scene::Reader reader(finder, diagnostics, substitution, settings);
    (void)reader.read_file(file);
    const auto found = finder.find();
    if (!found) {
        if (!first_error.empty()) throw FileError(file, -1, first_error);
        std::string names;
        for (const std::string& name : finder.names())
            names += (names.empty() ? "" : ", ") + ("'" + name + "'");
        if (names.empty()) throw FileError(file, -1, "there is no camera instance");
        throw FileError(file, -1,
                        (wanted.empty() ? "no render command names a camera, and there are "
                                        : "there is no camera instance '" + wanted + "', but ") +
                            names);
    }
    const scene::Camera& c = *found->camera;
    SceneCamera out;
    out.instance = found->instance;
    out.camera.to_camera = found->to_camera;
    out.camera.orthographic = c.orthographic;
    out.camera.focal = static_cast<double>(c.focal);
    out.camera.near_limit = std::max(0.0, static_cast<double>(c.clip_near));
    out.camera.width = width > 0 ? width : c.x_resolution;
    out.camera.height = height > 0 ? height : c.y_resolution;
    out.camera.set_plane(static_cast<double>(c.aperture),
                         c.aspect != 0.0f ? static_cast<double>(c.aspect) : 1.0,
                         static_cast<double>(c.x_offset), static_cast<double>(c.y_offset));
    return out;
}

} // namespace vx::cache
