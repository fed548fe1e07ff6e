// A renderer without rays: a context, a scene builder, and states to call shaders with.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "host/shading/build.h"
#include "host/shading/call.h"
#include "tests/shading/test_shaders.h"

namespace vx::testing {

using scene::Type;

inline scene::ParameterDeclaration parameter(std::string name, Type type,
                                             std::vector<scene::Number> defaults = {}) {
    scene::ParameterDeclaration p;
    p.name = std::move(name);
    p.type = type;
    p.defaults = std::move(defaults);
    return p;
}

inline scene::ParameterDeclaration array_of(scene::ParameterDeclaration element) {
    scene::ParameterDeclaration p;
    p.name = element.name;
    p.type = Type::array;
    p.members = {std::move(element)};
    return p;
}

inline scene::ParameterDeclaration struct_of(std::string name,
                                             std::vector<scene::ParameterDeclaration> members) {
    scene::ParameterDeclaration p;
    p.name = std::move(name);
    p.type = Type::structure;
    p.members = std::move(members);
    return p;
}

inline scene::Declaration declaration(std::string name, Type result,
                                      std::vector<scene::ParameterDeclaration> parameters,
                                      int version = 1) {
    scene::Declaration d;
    d.name = std::move(name);
    d.result = result;
    d.parameters = std::move(parameters);
    d.version = version;
    return d;
}

inline scene::Number number(int value) {
    return {static_cast<double>(value), scene::NumberKind::integer};
}
inline scene::Number number(double value) {
    return {value, scene::NumberKind::real};
}
inline scene::Number number(bool value) {
    return {value ? 1.0 : 0.0, scene::NumberKind::boolean};
}

template <class... T>
scene::Value numbers(T... values) {
    return {std::vector<scene::Number>{number(values)...}};
}
inline scene::Value text(std::string value) {
    return {std::move(value)};
}
inline scene::Value null() {
    return {scene::Null{}};
}
inline scene::Value connection(std::string name) {
    return {scene::Connection{std::move(name)}};
}
inline scene::Value elements(std::vector<scene::Value> values) {
    return {scene::ArrayValue{std::move(values)}};
}
inline scene::Value members(std::vector<scene::Parameter> values) {
    return {scene::StructValue{std::move(values)}};
}
inline scene::Parameter set(std::string name, scene::Value value, unsigned line = 0) {
    return {std::move(name), std::move(value), {1, line, 1}};
}

inline scene::ShaderCall call(std::string name, std::vector<scene::Parameter> parameters = {}) {
    scene::ShaderCall c;
    c.declaration = std::move(name);
    c.parameters = std::move(parameters);
    return c;
}
inline scene::ShaderReference named(std::string name) {
    return {std::move(name), {}};
}

// Declares every shader of the test library.
void declare_test_shaders(scene::SceneReceiver& receiver);

class Rig {
  public:
    Rig() {
        context.messages.set_bits(miERR_ALL);
        context.messages.set_sink(
            [this](shading::Level, std::string_view line) { lines.emplace_back(line); });
        state = fresh_state();
        diagnostics.add_file("test.mi");
    }

    // Loads the test library and declares its shaders.
    void load() {
        ASSERT_EQ(context.libraries.load(VX_TEST_SHADERS), "");
        declare_test_shaders(builder);
    }

    miTag shader(const std::string& name, scene::ShaderList list) {
        scene::NamedShader element;
        element.name = name;
        element.shaders = std::move(list);
        builder.on_shader(element);
        return builder.find(shading::SceneBuilder::Kind::shader, name);
    }
    miTag shader(const std::string& name, const std::string& declared,
                 std::vector<scene::Parameter> parameters = {}) {
        return shader(name, {call(declared, std::move(parameters))});
    }

    miColor run(miTag tag, miShader_type role = miSHADER_MATERIAL) {
        miColor result = {0, 0, 0, 0};
        shading::call_list(context, tag, &result, &state, role);
        return result;
    }
    // Runs `body` inside a shader.
    miBoolean inside(ShaderBody body, miShader_type role = miSHADER_MATERIAL) {
        if (runner == miNULLTAG) runner = shader("runner", "test_run");
        miColor result{};
        void* const before = std::exchange(state.user, &body);
        struct Restore {
            miState& state;
            void* user;
            ~Restore() { state.user = user; }
        } const restore{state, before};
        return shading::call_one(context, runner, &result, &state, role) ? miTRUE : miFALSE;
    }

    miState fresh_state() {
        miState s{};
        s.version = 2;
        s.camera = &camera;
        s.options = &options;
        s.global_lock = context.global_lock;
        return s;
    }
    miState child_of(miState& parent) {
        miState s = parent;
        s.parent = &parent;
        s.child = nullptr;
        return s;
    }
    shading::Function& function(miTag tag) { return *context.functions.find(tag); }

    std::vector<std::string> lines;    // of the log
    std::vector<std::string> findings; // of the diagnostics, errors as "error: ..."
    shading::Context context;
    scene::Diagnostics diagnostics{[this](const scene::Diagnostic& d) {
        findings.push_back((d.severity == scene::Severity::error ? "error: " : "warning: ") +
                           d.text);
        places.push_back(d.place.line);
    }};
    std::vector<unsigned> places;
    shading::SceneBuilder builder{context, diagnostics};
    miCamera camera{};
    miOptions options{};
    miState state{};
    miTag runner = miNULLTAG;
};

inline bool same_color(const miColor& a, const miColor& b) {
    return a.r == b.r && a.g == b.g && a.b == b.b && a.a == b.a;
}

MATCHER_P4(IsColor, r, g, b, a, "") {
    *result_listener << arg.r << ' ' << arg.g << ' ' << arg.b << ' ' << arg.a;
    return same_color(arg, {static_cast<float>(r), static_cast<float>(g), static_cast<float>(b),
                            static_cast<float>(a)});
}

} // namespace vx::testing
