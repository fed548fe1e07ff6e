/*
 * Turns the elements of a scene into database elements.
 *
 *   scene                  element                      contents
 *   options, camera        miSCENE_OPTIONS, _CAMERA     miOptions, miCamera
 *   light                  miSCENE_LIGHT                miLight
 *   material               miSCENE_MATERIAL             miMaterial
 *   shader, anonymous ones miSCENE_FUNCTION             miFunction (function.h)
 *   texture from an image  miSCENE_TEXTURE              Texture
 *   texture from shaders   the first shader's function
 *   object                 miSCENE_OBJECT               Object
 *   instance               miSCENE_INSTANCE             miInstance, its own transform only
 *   instgroup              miSCENE_GROUP                tags of its members
 *   data                   miSCENE_USERDATA             parameter block or bytes
 *   lists of materials, lights; texts  miSCENE_TAGS, miSCENE_STRING
 *
 * A redefinition keeps the tag. What the records have no room for stays with the description, which
 * can be asked for by tag.
 *
 * Names may be used before they are defined: what is still unknown when a render is asked for (or
 * at finish) is an error, told with the place of its use. A shader whose name was not declared, and
 * any phenomenon, gets a stand-in with one warning per name (stand_in.h).
 */
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/scene/description.h"
#include "host/shading/context.h"
#include "host/shading/shaders.h"

namespace vx::shading {

/* The element of an object. */
struct Object {
    scene::Object description; /* mesh: always there */
    /* By index of mesh->material_names; 0 for a name without a material. */
    std::vector<miTag> materials;
    unsigned revision = 0; /* grows with each redefinition that may change the mesh */
};

/* The element of a texture that has pixels or a file. */
struct Texture {
    scene::Texture description;
    unsigned revision = 0;
};

struct RenderRequest {
    miTag root = miNULLTAG; /* a group */
    miTag camera_instance = miNULLTAG;
    miTag options = miNULLTAG;
    scene::Location where;
};

class SceneBuilder final : public scene::SceneReceiver {
  public:
    /* Both must outlive the builder; diagnostics is the reader's. */
    SceneBuilder(Context& context, scene::Diagnostics& diagnostics);
    ~SceneBuilder() override;

    /* Renders; false ends the reading. Not called when anything was wrong with the scene. */
    std::function<bool(const RenderRequest&)> render;

    /* Reports what is still unknown. The reading is over. */
    void finish();

    using Kind = NameTable::Kind;
    /* 0 when there is none. */
    [[nodiscard]] miTag find(Kind kind, std::string_view name) const;

    /* What the scene said; null for a tag of something else. Good until the next redefinition. */
    [[nodiscard]] const scene::Options* options(miTag tag) const;
    [[nodiscard]] const scene::Camera* camera(miTag tag) const;
    [[nodiscard]] const scene::Light* light(miTag tag) const;
    [[nodiscard]] const scene::Instance* instance(miTag tag) const;
    [[nodiscard]] const scene::InstanceGroup* group(miTag tag) const;

    void on_link(const std::string& path, scene::Location where) override;
    void on_declare(const scene::Declaration& declaration) override;
    void on_verbose(int level) override;
    void on_echo(const std::string& text) override;
    void on_options(const scene::Options& options) override;
    void on_camera(const scene::Camera& camera) override;
    void on_light(const scene::Light& light) override;
    void on_texture(const scene::Texture& texture) override;
    void on_material(const scene::Material& material) override;
    void on_shader(const scene::NamedShader& shader) override;
    void on_data(const scene::UserData& data) override;
    void on_object(scene::Object&& object) override;
    void on_instance(const scene::Instance& instance) override;
    void on_group(const scene::InstanceGroup& group) override;
    void on_delete(const std::string& name, scene::Location where) override;
    void on_call(const scene::ShaderList& shaders, const std::string& camera_instance,
                 const std::string& options, scene::Location where) override;
    bool on_render(const std::string& root_group, const std::string& camera_instance,
                   const std::string& options, scene::Location where) override;

  private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace vx::shading
