#include "host/shading/build.h"

#include <fstream>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "host/shading/call.h"
#include "host/shading/records.h"

namespace vx::shading {

using Kind = NameTable::Kind;

class SceneBuilder::Impl {
  public:
    Impl(Context& the_context, scene::Diagnostics& the_diagnostics)
        : context(the_context),
          diagnostics(the_diagnostics),
          shaders(the_context, the_diagnostics, names) {}

    /* The record of an element, zeroed; made, or used again under its tag. */
    template <class T>
    std::pair<miTag, T*> record(Kind kind, miScene_types type, const std::string& name) {
        miTag tag = names.find(kind, name);
        if (tag == miNULLTAG) {
            tag = context.database.create(type, sizeof(T));
            context.database.set_name(tag, name);
            names.set(kind, name, tag);
        }
        auto* const contents = context.database.find<T>(tag, type);
        *contents = T{};
        return {tag, contents};
    }

    miTag tag_array(miTag& kept, const std::vector<miTag>& tags) {
        if (kept == miNULLTAG)
            kept = context.database.create_tags(tags);
        else
            context.database.replace_tags(kept, tags);
        return kept;
    }

    /* The first of a chain of user data blocks. */
    miTag data_chain(const std::vector<std::string>& data, scene::Location where) {
        miTag first = miNULLTAG;
        UserData* last = nullptr;
        for (const std::string& name : data) {
            if (shaders.skipped_data.contains(name)) continue;
            const miTag tag = names.find(Kind::data, name);
            if (tag == miNULLTAG) {
                diagnostics.error(where, "there is no data \"" + name + '"');
                continue;
            }
            if (last != nullptr) last->next = tag;
            if (first == miNULLTAG) first = tag;
            last = &context.user_data.at(tag);
            last->next = miNULLTAG;
        }
        return first;
    }

    std::string substituted(const std::string& text) const {
        return context.substitute ? context.substitute(text) : text;
    }

    bool resolve_lights(const scene::Instance& instance, miTag tag, bool report);
    bool resolve_materials(Object& object, bool report);
    void complete();
    std::vector<std::byte> file_contents(const scene::UserData& data);

    Context& context;
    scene::Diagnostics& diagnostics;
    NameTable names;
    ShaderBuilder shaders;
    std::map<std::pair<Kind, std::string>, Owned> owned;
    std::unordered_map<miTag, scene::Options> options;
    std::unordered_map<miTag, scene::Camera> cameras;
    std::unordered_map<miTag, scene::Light> lights;
    std::unordered_map<miTag, scene::Instance> instances;
    std::unordered_map<miTag, scene::InstanceGroup> groups;
    std::unordered_map<miTag, miTag> material_lists, light_lists; /* by instance */
    std::set<miTag> unresolved_instances, unresolved_objects;
};

namespace {

template <class Map>
auto* found_in(const Map& map, miTag tag) {
    const auto found = map.find(tag);
    return found == map.end() ? nullptr : &found->second;
}

} // namespace

bool SceneBuilder::Impl::resolve_lights(const scene::Instance& instance, miTag tag, bool report) {
    auto* const contents = context.database.find<miInstance>(tag, miSCENE_INSTANCE);
    if (!instance.lights) return true;
    bool complete_list = true;
    std::vector<miTag> tags;
    for (const std::string& name : instance.lights->lights) {
        const auto light = shaders.reference(miTYPE_LIGHT, name);
        if (light) {
            tags.push_back(*light);
            continue;
        }
        complete_list = false;
        if (report)
            diagnostics.error(instance.where, "instance \"" + instance.name +
                                                  "\": there is no light \"" + name + '"');
    }
    contents->light_obj_ring = tag_array(light_lists[tag], tags);
    return complete_list;
}

bool SceneBuilder::Impl::resolve_materials(Object& object, bool report) {
    bool complete_list = true;
    object.materials.clear();
    for (const std::string& name : object.description.mesh->material_names) {
        const miTag tag = names.find(Kind::material, name);
        object.materials.push_back(tag);
        if (tag != miNULLTAG) continue;
        complete_list = false;
        if (report)
            diagnostics.error(object.description.where, "object \"" + object.description.name +
                                                            "\": there is no material \"" + name +
                                                            '"');
    }
    return complete_list;
}

void SceneBuilder::Impl::complete() {
    shaders.complete();
    for (const miTag tag : std::exchange(unresolved_instances, {}))
        if (const auto* const instance = found_in(instances, tag))
            resolve_lights(*instance, tag, true);
    for (const miTag tag : std::exchange(unresolved_objects, {}))
        if (auto* const object = context.database.find<Object>(tag, miSCENE_OBJECT))
            resolve_materials(*object, true);
}

std::vector<std::byte> SceneBuilder::Impl::file_contents(const scene::UserData& data) {
    const std::string path = substituted(data.file);
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> text{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        diagnostics.error(data.where, "cannot read \"" + path + '"');
        return {};
    }
    std::vector<std::byte> bytes(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
        bytes[i] = static_cast<std::byte>(text[i]);
    return bytes;
}

SceneBuilder::SceneBuilder(Context& context, scene::Diagnostics& diagnostics)
    : m_impl(std::make_unique<Impl>(context, diagnostics)) {}
SceneBuilder::~SceneBuilder() = default;

void SceneBuilder::finish() {
    m_impl->complete();
}

miTag SceneBuilder::find(Kind kind, std::string_view name) const {
    return m_impl->names.find(kind, name);
}

const scene::Options* SceneBuilder::options(miTag tag) const {
    return found_in(m_impl->options, tag);
}
const scene::Camera* SceneBuilder::camera(miTag tag) const {
    return found_in(m_impl->cameras, tag);
}
const scene::Light* SceneBuilder::light(miTag tag) const {
    return found_in(m_impl->lights, tag);
}
const scene::Instance* SceneBuilder::instance(miTag tag) const {
    return found_in(m_impl->instances, tag);
}
const scene::InstanceGroup* SceneBuilder::group(miTag tag) const {
    return found_in(m_impl->groups, tag);
}

void SceneBuilder::on_link(const std::string& path, scene::Location where) {
    const std::string failure = m_impl->context.libraries.load(path);
    if (!failure.empty()) m_impl->diagnostics.error(where, failure);
}

void SceneBuilder::on_declare(const scene::Declaration& declaration) {
    m_impl->shaders.declare(declaration);
}

void SceneBuilder::on_verbose(int level) {
    m_impl->context.messages.set_level(level);
}

void SceneBuilder::on_echo(const std::string& text) {
    m_impl->context.messages.write(Level::info, "SCENE", m_impl->context.thread().number, text);
}

void SceneBuilder::on_options(const scene::Options& options) {
    Impl& b = *m_impl;
    const auto [tag, record] = b.record<miOptions>(Kind::options, miSCENE_OPTIONS, options.name);
    *record = options_record(options);
    record->userdata = b.data_chain(options.data, options.where);
    b.options.insert_or_assign(tag, options);
}

void SceneBuilder::on_camera(const scene::Camera& camera) {
    Impl& b = *m_impl;
    const auto [tag, record] = b.record<miCamera>(Kind::camera, miSCENE_CAMERA, camera.name);
    *record = camera_record(camera);
    Owned& owned = b.owned[{Kind::camera, camera.name}];
    owned.restart();
    record->lens = b.shaders.list(camera.lens, owned, camera.name);
    record->volume = b.shaders.list(camera.volume, owned, camera.name);
    record->environment = b.shaders.list(camera.environment, owned, camera.name);
    scene::ShaderList outputs;
    for (const scene::Output& output : camera.outputs)
        outputs.insert(outputs.end(), output.shader.begin(), output.shader.end());
    record->output = b.shaders.list(outputs, owned, camera.name);
    b.shaders.trim(owned);
    record->userdata = b.data_chain(camera.data, camera.where);
    b.cameras.insert_or_assign(tag, camera);
}

void SceneBuilder::on_light(const scene::Light& light) {
    Impl& b = *m_impl;
    const auto [tag, record] = b.record<miLight>(Kind::light, miSCENE_LIGHT, light.name);
    *record = light_record(light);
    Owned& owned = b.owned[{Kind::light, light.name}];
    owned.restart();
    record->shader = b.shaders.list(light.shaders, owned, light.name);
    record->emitter = b.shaders.list(light.emitter, owned, light.name);
    b.shaders.trim(owned);
    record->userdata = b.data_chain(light.data, light.where);
    b.lights.insert_or_assign(tag, light);
}

void SceneBuilder::on_texture(const scene::Texture& texture) {
    Impl& b = *m_impl;
    miTag tag = b.names.find(Kind::texture, texture.name);
    Owned& owned = b.owned[{Kind::texture, texture.name}];
    owned.restart();
    if (!texture.shaders.empty()) {
        /* Shaders tell a procedural texture by the type of its element. */
        tag = b.shaders.list(texture.shaders, owned, texture.name);
    } else if (auto* const known = b.context.database.find<Texture>(tag, miSCENE_TEXTURE)) {
        known->description = texture;
        ++known->revision;
    } else {
        tag = b.context.database.adopt(miSCENE_TEXTURE,
                                       std::make_unique<Texture>(Texture{texture, 0}));
        b.context.database.set_name(tag, texture.name);
    }
    b.shaders.trim(owned);
    b.names.set(Kind::texture, texture.name, tag);
}

void SceneBuilder::on_material(const scene::Material& material) {
    Impl& b = *m_impl;
    miMaterial* const record =
        b.record<miMaterial>(Kind::material, miSCENE_MATERIAL, material.name).second;
    record->opaque = material.opaque ? miTRUE : miFALSE;
    Owned& owned = b.owned[{Kind::material, material.name}];
    owned.restart();
    const auto list = [&](const scene::ShaderList& shaders) {
        return b.shaders.list(shaders, owned, material.name);
    };
    record->shader = list(material.surface);
    record->displace = list(material.displace);
    record->shadow = list(material.shadow);
    record->volume = list(material.volume);
    record->environment = list(material.environment);
    record->contour = list(material.contour);
    record->photon = list(material.photon);
    record->photonvol = list(material.photonvol);
    record->lightmap = list(material.lightmap);
    record->hardware = list(material.hardware);
    b.shaders.trim(owned);
    b.shaders.mark_surface(record->shader);
}

void SceneBuilder::on_shader(const scene::NamedShader& shader) {
    m_impl->shaders.named(shader, m_impl->owned[{Kind::shader, shader.name}]);
}

void SceneBuilder::on_data(const scene::UserData& data) {
    Impl& b = *m_impl;
    UserData entry;
    entry.label = data.label;
    std::vector<std::byte> bytes = data.bytes;
    if (data.call) {
        const Declaration* const declaration =
            b.context.functions.declaration(data.call->declaration);
        if (declaration == nullptr || declaration->built_in) {
            b.diagnostics.warning_once("undeclared data " + data.call->declaration,
                                       data.call->where,
                                       "data \"" + data.call->declaration +
                                           "\" is not declared; blocks of it are left out");
            b.shaders.skipped_data.insert(data.name);
            return;
        }
        entry.declaration = declaration->tag;
        bytes = b.shaders.data_block(*data.call, *declaration).bytes;
    } else if (!data.file.empty()) {
        bytes = b.file_contents(data);
    }
    entry.size = static_cast<int>(bytes.size());

    miTag tag = b.names.find(Kind::data, data.name);
    if (tag == miNULLTAG) {
        tag = b.context.database.create(miSCENE_USERDATA, bytes.size());
        b.context.database.set_name(tag, data.name);
        b.names.set(Kind::data, data.name, tag);
    } else {
        b.context.database.replace(tag, miSCENE_USERDATA, bytes.size());
    }
    std::copy(bytes.begin(), bytes.end(),
              b.context.database.find<std::byte>(tag, miSCENE_USERDATA));
    UserData& stored = b.context.user_data[tag];
    entry.next = stored.next;
    stored = entry;
    b.shaders.skipped_data.erase(data.name);
}

void SceneBuilder::on_object(scene::Object&& object) {
    Impl& b = *m_impl;
    const std::string name = object.name;
    miTag tag = b.names.find(Kind::object, name);
    if (tag == miNULLTAG) {
        tag = b.context.database.adopt(miSCENE_OBJECT, std::make_unique<Object>());
        b.context.database.set_name(tag, name);
        b.names.set(Kind::object, name, tag);
    }
    Object& element = *b.context.database.find<Object>(tag, miSCENE_OBJECT);
    if (object.mesh)
        ++element.revision;
    else
        object.mesh =
            element.description.mesh ? std::move(element.description.mesh) : scene::Mesh{};
    element.description = std::move(object);
    if (!b.resolve_materials(element, false)) b.unresolved_objects.insert(tag);
}

void SceneBuilder::on_instance(const scene::Instance& instance) {
    Impl& b = *m_impl;
    const auto [tag, record] =
        b.record<miInstance>(Kind::instance, miSCENE_INSTANCE, instance.name);
    *record = instance_record(instance);
    for (const Kind kind : {Kind::object, Kind::group, Kind::light, Kind::camera})
        if (record->item == miNULLTAG) record->item = b.names.find(kind, instance.item);

    std::vector<miTag> materials;
    for (const std::string& name : instance.materials)
        if (const miTag material = b.names.find(Kind::material, name); material != miNULLTAG)
            materials.push_back(material);
    /* The two forms differ, also for one material: see miInstance. */
    if (instance.material_list && !materials.empty()) {
        record->material = b.tag_array(b.material_lists[tag], materials);
        record->mtl_array_size = static_cast<int>(materials.size());
    } else if (!materials.empty()) {
        record->material = materials.front();
    }

    if (!instance.geometry_shaders.empty())
        b.diagnostics.warning_once("geometry shader", instance.where,
                                   "geometry shaders are not run; what they would make is missing");
    if (!instance.transform_shader.empty())
        b.diagnostics.warning_once("transform shader", instance.where,
                                   "transform shaders are not run; the instance keeps its matrix");
    record->userdata = b.data_chain(instance.data, instance.where);
    if (!b.resolve_lights(instance, tag, false)) b.unresolved_instances.insert(tag);
    b.instances.insert_or_assign(tag, instance);
}

void SceneBuilder::on_group(const scene::InstanceGroup& group) {
    Impl& b = *m_impl;
    std::vector<miTag> members;
    for (const std::string& name : group.members)
        if (const miTag tag = b.names.find(Kind::instance, name); tag != miNULLTAG)
            members.push_back(tag);
    miTag tag = b.names.find(Kind::group, group.name);
    if (tag == miNULLTAG) {
        tag = b.context.database.create(miSCENE_GROUP, 0);
        b.context.database.set_name(tag, group.name);
        b.names.set(Kind::group, group.name, tag);
    }
    void* const contents =
        b.context.database.replace(tag, miSCENE_GROUP, members.size() * sizeof(miTag));
    std::copy(members.begin(), members.end(), static_cast<miTag*>(contents));
    b.groups.insert_or_assign(tag, group);
}

void SceneBuilder::on_delete(const std::string& name, scene::Location where) {
    Impl& b = *m_impl;
    for (const Kind kind : {Kind::options, Kind::camera, Kind::light, Kind::texture, Kind::material,
                            Kind::shader, Kind::data, Kind::object, Kind::instance, Kind::group}) {
        const miTag tag = b.names.find(kind, name);
        if (tag == miNULLTAG) continue;
        b.names.remove(kind, name);
        if (const auto owned = b.owned.find({kind, name}); owned != b.owned.end()) {
            owned->second.restart();
            b.shaders.trim(owned->second);
            b.owned.erase(owned);
        }
        b.context.user_data.erase(tag);
        if (b.context.functions.find(tag) != nullptr)
            b.context.functions.remove(tag);
        else if (b.context.database.find(tag) != nullptr)
            b.context.database.remove(tag);
        b.options.erase(tag);
        b.cameras.erase(tag);
        b.lights.erase(tag);
        b.instances.erase(tag);
        b.groups.erase(tag);
        return;
    }
    b.diagnostics.warning(where, "there is no element \"" + name + "\" to delete");
}

void SceneBuilder::on_call(const scene::ShaderList& /*shaders*/,
                           const std::string& /*camera_instance*/, const std::string& /*options*/,
                           scene::Location where) {
    m_impl->diagnostics.warning_once("call", where, "the command call is not carried out");
}

bool SceneBuilder::on_render(const std::string& root_group, const std::string& camera_instance,
                             const std::string& options, scene::Location where) {
    Impl& b = *m_impl;
    b.complete();
    if (b.diagnostics.errors() > 0) return true;
    const RenderRequest request{b.names.find(Kind::group, root_group),
                                b.names.find(Kind::instance, camera_instance),
                                b.names.find(Kind::options, options), where};
    return !render || render(request);
}

} // namespace vx::shading
