// Turns the elements of a scene into database elements.
//
//   scene                  element                      contents
//   options, camera        miSCENE_OPTIONS, _CAMERA     miOptions, miCamera
//   light                  miSCENE_LIGHT                miLight
//   material               miSCENE_MATERIAL             miMaterial
//   shader, anonymous ones miSCENE_FUNCTION             miFunction (function.h)
//   texture from an image  miSCENE_TEXTURE              TextureElement
//   texture from shaders   the first shader's function
//   object                 miSCENE_OBJECT               ObjectElement
//   instance               miSCENE_INSTANCE             miInstance, its own transform only
//   instgroup              miSCENE_GROUP                tags of its members
//   data                   miSCENE_USERDATA             parameter block or bytes
//   lists of materials, lights; texts  miSCENE_TAGS, miSCENE_STRING
//
// A redefinition keeps the tag. Descriptions of options, cameras and instances are kept, because
// the records do not hold all of what the scene says.
//
// Names may be used before they are defined: a name that is still unknown at a render command (or
// at finish) is an error, reported at the place of its use. A shader whose name was not declared,
// and any phenomenon, is replaced by a stand-in, with one warning per name (stand_in.h).
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/shading/context.h"
#include "host/shading/scene_elements.h"
#include "host/shading/shaders.h"

namespace vx::shading {

class SceneBuilder final : public scene::SceneReceiver {
  public:
    // Both must outlive the builder; `diagnostics` is that of the reader.
    SceneBuilder(Context& context, scene::Diagnostics& diagnostics);
    ~SceneBuilder() override = default;
    SceneBuilder(const SceneBuilder&) = delete;
    SceneBuilder& operator=(const SceneBuilder&) = delete;

    // Renders; false ends the reading. Not called after any error in the scene.
    std::function<bool(const RenderRequest&)> render;

    // Reports names that are still unknown. Call it after reading.
    void finish();

    using Kind = NameTable::Kind;
    // 0 if there is none.
    [[nodiscard]] miTag find(Kind kind, std::string_view name) const;

    // The description of an element; null for a tag of anything else. Valid until the element is
    // redefined.
    [[nodiscard]] const scene::Options* options(miTag tag) const;
    [[nodiscard]] const scene::Camera* camera(miTag tag) const;

    // Commands (build.cpp).
    void on_link(const std::string& path, scene::Location where) override;
    void on_declare(const scene::Declaration& declaration) override;
    void on_verbose(int level) override;
    void on_echo(const std::string& text) override;
    void on_delete(const std::string& name, scene::Location where) override;
    void on_call(const scene::ShaderList& shaders, const std::string& camera_instance,
                 const std::string& options, scene::Location where) override;
    bool on_render(const std::string& root_group, const std::string& camera_instance,
                   const std::string& options, scene::Location where) override;

    // Elements with shaders, options and user data (build_elements.cpp).
    void on_options(const scene::Options& options) override;
    void on_camera(const scene::Camera& camera) override;
    void on_light(const scene::Light& light) override;
    void on_texture(const scene::Texture& texture) override;
    void on_material(const scene::Material& material) override;
    void on_shader(const scene::NamedShader& shader) override;
    void on_data(const scene::UserData& data) override;

    // The graph of the scene (build_graph.cpp).
    void on_object(scene::Object&& object) override;
    void on_instance(const scene::Instance& instance) override;
    void on_group(const scene::InstanceGroup& group) override;

  private:
    // The element of that kind and name, made with a zeroed block of `bytes` if there is none.
    miTag element(Kind kind, miScene_types type, std::size_t bytes, const std::string& name);
    // The list of shaders that an element owns, restarted for a new definition of the element.
    OwnedShaders& restart_owned(Kind kind, const std::string& name);
    // The first of a chain of user data blocks.
    miTag data_chain(const std::vector<std::string>& data, scene::Location where);
    std::vector<std::byte> file_contents(const scene::UserData& data);

    // These return false if a name is unknown, and report it if `report` is set.
    bool resolve_lights(const scene::Instance& instance, miTag tag, bool report);
    bool resolve_materials(ObjectElement& object, bool report);
    // Reports all names that are still unknown.
    void complete();

    Context& m_context;
    scene::Diagnostics& m_diagnostics;
    NameTable m_names;
    ShaderBuilder m_shaders;
    std::map<std::pair<Kind, std::string>, OwnedShaders> m_owned;
    std::unordered_map<miTag, scene::Options> m_options;
    std::unordered_map<miTag, scene::Camera> m_cameras;
    std::unordered_map<miTag, scene::Instance> m_instances;
    std::unordered_map<miTag, miTag> m_material_lists, m_light_lists; // by instance
    std::set<miTag> m_unresolved_instances, m_unresolved_objects;
};

} // namespace vx::shading
