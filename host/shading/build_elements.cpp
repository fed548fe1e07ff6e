// SceneBuilder: options, user data, and the elements that hold shaders.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "host/shading/build.h"
#include "host/shading/records.h"

namespace vx::shading {

void SceneBuilder::on_options(const scene::Options& options) {
    const miTag tag = element(Kind::options, miSCENE_OPTIONS, sizeof(miOptions), options.name);
    auto& record = *m_context.database.find<miOptions>(tag, miSCENE_OPTIONS);
    record = options_record(options);
    if (options.motion && options.shutter > 0)
        m_diagnostics.omit(scene::Omission::statement, "motion blur");
    record.userdata = data_chain(options.data, options.where);
    m_options.insert_or_assign(tag, options);
}

void SceneBuilder::on_camera(const scene::Camera& camera) {
    const miTag tag = element(Kind::camera, miSCENE_CAMERA, sizeof(miCamera), camera.name);
    auto& record = *m_context.database.find<miCamera>(tag, miSCENE_CAMERA);
    record = camera_record(camera);
    OwnedShaders& owned = restart_owned(Kind::camera, camera.name);
    record.lens = m_shaders.list(camera.lens, owned, camera.name);
    record.volume = m_shaders.list(camera.volume, owned, camera.name);
    record.environment = m_shaders.list(camera.environment, owned, camera.name);
    scene::ShaderList outputs;
    for (const scene::Output& output : camera.outputs)
        outputs.insert(outputs.end(), output.shader.begin(), output.shader.end());
    record.output = m_shaders.list(outputs, owned, camera.name);
    m_shaders.trim(owned);
    if (camera.dof) m_diagnostics.omit(scene::Omission::statement, "dof");
    if (camera.field != 0) m_diagnostics.omit(scene::Omission::statement, "field");
    record.userdata = data_chain(camera.data, camera.where);
    m_cameras.insert_or_assign(tag, camera);
}

void SceneBuilder::on_light(const scene::Light& light) {
    const miTag tag = element(Kind::light, miSCENE_LIGHT, sizeof(miLight), light.name);
    auto& record = *m_context.database.find<miLight>(tag, miSCENE_LIGHT);
    record = light_record(light);
    OwnedShaders& owned = restart_owned(Kind::light, light.name);
    record.shader = m_shaders.list(light.shaders, owned, light.name);
    record.emitter = m_shaders.list(light.emitter, owned, light.name);
    m_shaders.trim(owned);
    record.userdata = data_chain(light.data, light.where);
}

void SceneBuilder::on_texture(const scene::Texture& texture) {
    miTag tag = m_names.find(Kind::texture, texture.name);
    OwnedShaders& owned = restart_owned(Kind::texture, texture.name);
    if (!texture.shaders.empty()) {
        // Shaders recognize a procedural texture by the type of its element.
        tag = m_shaders.list(texture.shaders, owned, texture.name);
    } else if (auto* const known = m_context.database.find<TextureElement>(tag, miSCENE_TEXTURE)) {
        known->description = texture;
        ++known->revision;
    } else {
        tag = m_context.database.adopt(
            miSCENE_TEXTURE, std::make_unique<TextureElement>(TextureElement{texture, 0}));
        m_context.database.set_name(tag, texture.name);
    }
    m_shaders.trim(owned);
    m_names.set(Kind::texture, texture.name, tag);
}

void SceneBuilder::on_material(const scene::Material& material) {
    const miTag tag = element(Kind::material, miSCENE_MATERIAL, sizeof(miMaterial), material.name);
    auto& record = *m_context.database.find<miMaterial>(tag, miSCENE_MATERIAL);
    record = {};
    record.opaque = material.opaque ? miTRUE : miFALSE;
    OwnedShaders& owned = restart_owned(Kind::material, material.name);
    const auto list = [&](const scene::ShaderList& shaders) {
        return m_shaders.list(shaders, owned, material.name);
    };
    record.shader = list(material.surface);
    record.displace = list(material.displace);
    record.shadow = list(material.shadow);
    record.volume = list(material.volume);
    record.environment = list(material.environment);
    record.contour = list(material.contour);
    record.photon = list(material.photon);
    record.photonvol = list(material.photonvol);
    record.lightmap = list(material.lightmap);
    record.hardware = list(material.hardware);
    if (record.displace != miNULLTAG)
        m_diagnostics.omit(scene::Omission::statement, "displacement");
    if (record.contour != miNULLTAG) m_diagnostics.omit(scene::Omission::statement, "contour");
    m_shaders.trim(owned);
    m_shaders.mark_surface(record.shader);
}

void SceneBuilder::on_shader(const scene::NamedShader& shader) {
    m_shaders.named(shader, restart_owned(Kind::shader, shader.name));
}

std::vector<std::byte> SceneBuilder::file_contents(const scene::UserData& data) {
    const std::string path = m_context.substitute ? m_context.substitute(data.file) : data.file;
    std::error_code ignored;
    // Opening a pipe without a writer would block.
    if (std::filesystem::exists(path, ignored) &&
        !std::filesystem::is_regular_file(path, ignored)) {
        m_diagnostics.error(data.where, "cannot read \"" + path + "\": it is not a regular file");
        return {};
    }
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> text{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        m_diagnostics.error(data.where, "cannot read \"" + path + '"');
        return {};
    }
    std::vector<std::byte> bytes(text.size());
    std::transform(text.begin(), text.end(), bytes.begin(),
                   [](char c) { return static_cast<std::byte>(c); });
    return bytes;
}

void SceneBuilder::on_data(const scene::UserData& data) {
    UserDataElement entry;
    entry.label = data.label;
    std::vector<std::byte> bytes = data.bytes;
    if (data.call) {
        const DeclaredShader* const declaration =
            m_context.functions.declaration(data.call->declaration);
        if (declaration == nullptr || declaration->built_in) {
            m_diagnostics.skip("undeclared data " + data.call->declaration, data.call->where,
                               "data \"" + data.call->declaration +
                                   "\" is not declared; its blocks are ignored");
            m_shaders.skipped_data.insert(data.name);
            return;
        }
        entry.declaration = declaration->tag;
        bytes = m_shaders.data_block(*data.call, *declaration).bytes;
    } else if (!data.file.empty()) {
        bytes = file_contents(data);
    }
    entry.size = static_cast<int>(bytes.size());

    const miTag tag = element(Kind::data, miSCENE_USERDATA, 0, data.name);
    void* const contents = m_context.database.replace(tag, miSCENE_USERDATA, bytes.size());
    std::copy(bytes.begin(), bytes.end(), static_cast<std::byte*>(contents));
    UserDataElement& stored = m_context.user_data[tag];
    entry.next = stored.next;
    stored = entry;
    m_shaders.skipped_data.erase(data.name);
}

miTag SceneBuilder::data_chain(const std::vector<std::string>& data, scene::Location where) {
    miTag first = miNULLTAG;
    UserDataElement* last = nullptr;
    for (const std::string& name : data) {
        if (m_shaders.skipped_data.contains(name)) continue;
        const miTag tag = m_names.find(Kind::data, name);
        if (tag == miNULLTAG) {
            m_diagnostics.error(where, "there is no data \"" + name + '"');
            continue;
        }
        if (last != nullptr) last->next = tag;
        if (first == miNULLTAG) first = tag;
        last = &m_context.user_data.at(tag);
        last->next = miNULLTAG;
    }
    return first;
}

} // namespace vx::shading
