// A writer instance with a camera, parameters, and surfaces with hand-built material lists.
#pragma once

#include "src/writer/lens.h"
#include "src/writer/write_instance_data.h"
#include "src/writer/write_parameters.h"
#include "tests/renderer_stub/map_stub.h"
#include "tests/renderer_stub/renderer_stub.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vx::test {

struct Settings {
    int disable = 0;
    int jitter = 0;
    int samples = 1;
    int layers = 1;
    int use_labels = 0;
    std::string labels = {};
    std::string pdc_file_name = {};
    std::string map_file_name = {};
    int output_mode = 7; // bakes and writes nothing
    int frame = 1;
    float radius = 0.5f;
};

// The database elements of a surface.
struct Surface {
    miTag instance = 0;
    miTag list = 0;
    miTag material = 0;
    miTag shader = 0;
    miTag declaration = 0;
};

class LensScene {
  public:
    explicit LensScene(int width = 2, int height = 2) {
        renderer.camera.x_resolution = width;
        renderer.camera.y_resolution = height;
    }
    ~LensScene() {
        if (m_made) ExitWriteInstance(&state);
    }
    LensScene(const LensScene&) = delete;
    LensScene& operator=(const LensScene&) = delete;

    // Creates the instance and clears the recorded calls.
    WriteInstanceData& make(const Settings& settings) {
        set_up(settings);
        InitWriteInstance(&state, params());
        m_made = true;
        renderer.clear_calls();
        return record();
    }

    // Adds the shader and its parameters, without init.
    void set_up(const Settings& settings, const stub::FunctionSetup& connections = {}) {
        WriteParameters block = {};
        block.disable = settings.disable;
        block.jitter = settings.jitter;
        block.samples = settings.samples;
        block.layers = settings.layers;
        block.useLabels = settings.use_labels;
        block.labels = renderer.add_string(settings.labels);
        block.pdcFileName = renderer.add_string(settings.pdc_file_name);
        block.mapFileName = renderer.add_string(settings.map_file_name);
        block.outputMode = settings.output_mode;
        block.frame = settings.frame;
        block.radius = settings.radius;
        stub::FunctionSetup setup = connections;
        setup.block = stub::bytes_of(block);
        function = renderer.add_function(setup);
        state = renderer.new_state(function);
        state.org = {0, 0, 5};
        state.dir = {0, 0, -1};
        state.point = {9, 9, 9};
        state.pri = &renderer;
        state.cache = &function;
    }

    void exit() {
        ExitWriteInstance(&state);
        m_made = false;
    }

    WriteParameters* params() {
        return reinterpret_cast<WriteParameters*>(state.shader->parameters);
    }
    WriteInstanceData& record() {
        return *static_cast<WriteInstanceData*>(*renderer.user_pointer(state.shader));
    }

    // A vx_pc_tag shader with this tag.
    miTag add_tag_shader(int tag) {
        struct {
            float colors[8];
            int tag;
        } block = {{}, tag};
        stub::FunctionSetup setup;
        setup.declaration = tag_declaration();
        setup.block = stub::bytes_of(block);
        return renderer.add_function(setup);
    }
    // A shader of another name, without parameters.
    miTag add_shader(const std::string& name) {
        stub::FunctionSetup setup;
        setup.declaration = renderer.add_declaration(name);
        return renderer.add_function(setup);
    }
    // A shader with `inner` connected to its parameter.
    miTag add_wrapper(const std::string& name, const std::string& parameter, miTag inner) {
        stub::FunctionSetup setup;
        setup.declaration = renderer.add_declaration(name, {{parameter, 16}});
        setup.block.resize(40);
        setup.connections[16] = inner;
        return renderer.add_function(setup);
    }
    Surface surface_of(miTag shader) {
        Surface surface;
        surface.shader = shader;
        surface.declaration = renderer.function(shader)->function_decl;
        surface.material = renderer.add_material(shader);
        surface.instance = renderer.add_instance({surface.material});
        surface.list = renderer.record<miInstance>(surface.instance)->material;
        return surface;
    }
    Surface tagged(int tag) { return surface_of(add_tag_shader(tag)); }
    Surface untagged() { return surface_of(add_shader("mib_lambert")); }

    stub::Hit hit_at(const Surface& surface, miVector point, bool from_behind = false) {
        return {.point = point,
                .normal = {0, 0, 1},
                .inv_normal = from_behind,
                .instance = surface.instance,
                .dist = 1,
                .shader = renderer.function(surface.shader)};
    }

    // The calls of a search for the tag of such a surface.
    static std::vector<std::string> tag_search(const Surface& s) {
        const auto call = [](const char* name, miTag tag) {
            return std::string(name) + "(" + std::to_string(tag) + ")";
        };
        return {call("db_access", s.instance),
                call("db_access", s.list),
                call("db_type", s.material),
                call("db_access", s.material),
                call("db_type", s.shader),
                call("db_access", s.shader),
                call("query", s.shader).insert(6, "54, "),
                call("db_access", s.declaration),
                call("db_unpin", s.declaration),
                call("db_unpin", s.shader),
                call("db_unpin", s.material),
                call("db_unpin", s.list),
                call("db_unpin", s.instance)};
    }

    // Everything that was not given back, including maps.
    std::vector<std::string> left_over() const {
        std::vector<std::string> left = renderer.left_over();
        const std::vector<std::string> of_maps = maps.left_over();
        left.insert(left.end(), of_maps.begin(), of_maps.end());
        return left;
    }

    stub::Renderer renderer;
    stub::Maps maps{renderer};
    miTag function = 0;
    miState state = {};

  private:
    miTag tag_declaration() {
        if (m_tag_declaration == 0) m_tag_declaration = renderer.add_declaration("vx_pc_tag");
        return m_tag_declaration;
    }

    miTag m_tag_declaration = 0;
    bool m_made = false;
};

// A temporary folder.
class Folder {
  public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string operator/(const std::string& name) const { return (m_path / name).string(); }
    const std::filesystem::path& path() const { return m_path; }

  private:
    std::filesystem::path m_path;
};

// All bytes of a file; "" if there is none.
std::string contents_of(const std::string& path);
void write_file(const std::string& path, const std::string& bytes);
// The number of open files of this process.
size_t open_descriptors();

} // namespace vx::test
