// SceneBuilder: commands, names, and what its other parts share.
#include "host/shading/build.h"

#include <utility>

namespace vx::shading {

namespace {

template <class Map>
auto* found_in(const Map& map, miTag tag) {
    const auto found = map.find(tag);
    return found == map.end() ? nullptr : &found->second;
}

} // namespace

SceneBuilder::SceneBuilder(Context& context, scene::Diagnostics& diagnostics)
    : m_context(context), m_diagnostics(diagnostics), m_shaders(context, diagnostics, m_names) {}

void SceneBuilder::finish() {
    complete();
}

miTag SceneBuilder::find(Kind kind, std::string_view name) const {
    return m_names.find(kind, name);
}

const scene::Options* SceneBuilder::options(miTag tag) const {
    return found_in(m_options, tag);
}

const scene::Camera* SceneBuilder::camera(miTag tag) const {
    return found_in(m_cameras, tag);
}

miTag SceneBuilder::element(Kind kind, miScene_types type, std::size_t bytes,
                            const std::string& name) {
    miTag tag = m_names.find(kind, name);
    if (tag == miNULLTAG) {
        tag = m_context.database.create(type, bytes);
        m_context.database.set_name(tag, name);
        m_names.set(kind, name, tag);
    }
    return tag;
}

OwnedShaders& SceneBuilder::restart_owned(Kind kind, const std::string& name) {
    OwnedShaders& owned = m_owned[{kind, name}];
    owned.restart();
    return owned;
}

void SceneBuilder::complete() {
    m_shaders.complete();
    for (const miTag tag : std::exchange(m_unresolved_instances, {}))
        if (const auto* const instance = found_in(m_instances, tag))
            resolve_lights(*instance, tag, true);
    for (const miTag tag : std::exchange(m_unresolved_objects, {}))
        if (auto* const object = m_context.database.find<ObjectElement>(tag, miSCENE_OBJECT))
            resolve_materials(*object, true);
}

void SceneBuilder::on_link(const std::string& path, scene::Location where) {
    bool missing = false;
    const std::string failure = m_context.libraries.load(path, &missing);
    if (failure.empty()) return;
    // Scenes often link more libraries than they use.
    if (!missing) {
        m_diagnostics.error(where, failure);
        return;
    }
    m_diagnostics.omit(scene::Omission::file, '"' + path + '"');
    m_diagnostics.warning(where, failure);
}

void SceneBuilder::on_declare(const scene::Declaration& declaration) {
    m_shaders.declare(declaration);
}

void SceneBuilder::on_verbose(int level) {
    m_context.messages.set_level(level);
}

void SceneBuilder::on_echo(const std::string& text) {
    m_context.messages.write(Level::info, "SCENE", m_context.thread().number, text);
}

void SceneBuilder::on_delete(const std::string& name, scene::Location where) {
    for (const Kind kind : {Kind::options, Kind::camera, Kind::light, Kind::texture, Kind::material,
                            Kind::shader, Kind::data, Kind::object, Kind::instance, Kind::group}) {
        const miTag tag = m_names.find(kind, name);
        if (tag == miNULLTAG) continue;
        m_names.remove(kind, name);
        if (const auto owned = m_owned.find({kind, name}); owned != m_owned.end()) {
            owned->second.restart();
            m_shaders.trim(owned->second);
            m_owned.erase(owned);
        }
        m_context.user_data.erase(tag);
        if (m_context.functions.find(tag) != nullptr)
            m_context.functions.remove(tag);
        else if (m_context.database.find(tag) != nullptr)
            m_context.database.remove(tag);
        m_options.erase(tag);
        m_cameras.erase(tag);
        m_instances.erase(tag);
        return;
    }
    m_diagnostics.warning(where, "there is no element \"" + name + "\" to delete");
}

void SceneBuilder::on_call(const scene::ShaderList& /*shaders*/,
                           const std::string& /*camera_instance*/, const std::string& /*options*/,
                           scene::Location where) {
    m_diagnostics.skip("call", where, "the command call is not carried out");
}

bool SceneBuilder::on_render(const std::string& root_group, const std::string& camera_instance,
                             const std::string& options, scene::Location where) {
    complete();
    if (m_diagnostics.errors() > 0) return true;
    const RenderRequest request{
        m_names.find(Kind::group, root_group), m_names.find(Kind::instance, camera_instance),
        m_names.find(Kind::options, options), where,
        std::string(m_diagnostics.file_name(where.file)) + ':' + std::to_string(where.line)};
    return !render || render(request);
}

} // namespace vx::shading
