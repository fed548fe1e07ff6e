// A receiver that records everything, and a function that reads a text into one.
#pragma once

#include "host/scene/reader.h"

#include <map>
#include <string>
#include <vector>

namespace vx::scene {

struct Recorder : SceneReceiver {
    std::vector<std::string> events; // "camera cam", "render world camInst opt", …
    std::vector<std::string> links, echoes;
    std::vector<int> levels;
    std::map<std::string, Declaration> declarations;
    std::map<std::string, Options> options;
    std::map<std::string, Camera> cameras;
    std::map<std::string, Light> lights;
    std::map<std::string, Texture> textures;
    std::map<std::string, Material> materials;
    std::map<std::string, NamedShader> shaders;
    std::map<std::string, UserData> data;
    std::map<std::string, Object> objects;
    std::map<std::string, Instance> instances;
    std::map<std::string, InstanceGroup> groups;
    bool go_on = true;

    void on_link(const std::string& path, Location) override {
        links.push_back(path);
        events.push_back("link " + path);
    }
    void on_declare(const Declaration& d) override {
        declarations[d.name] = d;
        events.push_back("declare " + d.name);
    }
    void on_verbose(int level) override { levels.push_back(level); }
    void on_echo(const std::string& text) override { echoes.push_back(text); }
    void on_options(const Options& e) override { keep("options ", options, e); }
    void on_camera(const Camera& e) override { keep("camera ", cameras, e); }
    void on_light(const Light& e) override { keep("light ", lights, e); }
    void on_texture(const Texture& e) override { keep("texture ", textures, e); }
    void on_material(const Material& e) override { keep("material ", materials, e); }
    void on_shader(const NamedShader& e) override { keep("shader ", shaders, e); }
    void on_data(const UserData& e) override { keep("data ", data, e); }
    void on_object(Object&& e) override {
        events.push_back("object " + e.name);
        std::string name = e.name;
        objects[std::move(name)] = std::move(e);
    }
    void on_instance(const Instance& e) override { keep("instance ", instances, e); }
    void on_group(const InstanceGroup& e) override { keep("instgroup ", groups, e); }
    void on_delete(const std::string& name, Location) override {
        events.push_back("delete " + name);
    }
    void on_call(const ShaderList& list, const std::string& camera, const std::string& opt,
                 Location) override {
        events.push_back("call " + std::to_string(list.size()) + ' ' + camera + ' ' + opt);
    }
    bool on_render(const std::string& root, const std::string& camera, const std::string& opt,
                   Location) override {
        events.push_back("render " + root + ' ' + camera + ' ' + opt);
        return go_on;
    }

  private:
    template <class T>
    void keep(const char* kind, std::map<std::string, T>& elements, const T& element) {
        events.push_back(kind + element.name);
        elements[element.name] = element;
    }
};

// The result of reading a text: the elements, and the messages as "error: …" and "warning: …".
struct Reading {
    Recorder scene;
    std::vector<std::string> messages;
    std::size_t errors = 0, warnings = 0;
    bool good = false;

    // The only message, for tests of messages.
    std::string message() const {
        return messages.size() == 1 ? messages.front()
                                    : std::to_string(messages.size()) + " messages" +
                                          (messages.empty() ? "" : ": " + messages.front());
    }
};

inline void read_into(Reading& reading, std::string_view text, ReaderSettings settings = {},
                      Substitution substitution = {}) {
    Diagnostics diagnostics([&](const Diagnostic& d) {
        const char* const kind = d.severity == Severity::error     ? "error: "
                                 : d.severity == Severity::warning ? "warning: "
                                                                   : "note: ";
        reading.messages.push_back(kind + format(d));
    });
    Reader reader(reading.scene, diagnostics, substitution, std::move(settings));
    reading.good = reader.read_text(text, "test.mi");
    reading.errors = diagnostics.errors();
    reading.warnings = diagnostics.warnings();
}

inline Reading read(std::string_view text, ReaderSettings settings = {}) {
    Reading reading;
    read_into(reading, text, std::move(settings));
    return reading;
}

} // namespace vx::scene
