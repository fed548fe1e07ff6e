// The interface through which the scene reader delivers a scene.
#pragma once

#include "host/scene/declaration.h"
#include "host/scene/elements.h"
#include "host/scene/object.h"

namespace vx::scene {

// Functions are called in the order of the scene text, on the thread that reads. The reader checks
// that these references exist and have the right kind: the item and the materials of an instance,
// the members of a group, named shaders in shader lists, and the arguments of a render command. It
// reports and drops invalid ones. It does not check the declared names and the parameters of shader
// calls, connections, light lists and the material names of polygons.
//
// Names in a namespace include its prefix ("a::lamp"). The receiver reports errors to the
// Diagnostics of the reader. After the first error, on_render and on_call are no longer called;
// reading continues in order to find further errors.
class SceneReceiver {
  public:
    virtual ~SceneReceiver() = default;

    // Loads a shader library. `path` is substituted, but not searched for.
    virtual void on_link(const std::string& path, Location where) = 0;
    // Not called for identical redeclarations. Different ones are preceded by a warning.
    virtual void on_declare(const Declaration& declaration) = 0;
    // The level of `verbose`, 0 to 7; on is 5 and off is 2.
    virtual void on_verbose(int level) = 0;
    virtual void on_echo(const std::string& text) = 0;

    virtual void on_options(const Options& options) = 0;
    virtual void on_camera(const Camera& camera) = 0;
    virtual void on_light(const Light& light) = 0;
    virtual void on_texture(const Texture& texture) = 0;
    virtual void on_material(const Material& material) = 0;
    // Also called for `= shader "name" …` within another element, before that element.
    virtual void on_shader(const NamedShader& shader) = 0;
    virtual void on_data(const UserData& data) = 0;
    // The receiver takes ownership of the geometry.
    virtual void on_object(Object&& object) = 0;
    virtual void on_instance(const Instance& instance) = 0;
    virtual void on_group(const InstanceGroup& group) = 0;
    virtual void on_delete(const std::string& name, Location where) = 0;

    // Runs shaders immediately. Camera instance and options may be empty.
    virtual void on_call(const ShaderList& shaders, const std::string& camera_instance,
                         const std::string& options, Location where) = 0;
    // Returns false to stop reading.
    virtual bool on_render(const std::string& root_group, const std::string& camera_instance,
                           const std::string& options, Location where) = 0;
};

} // namespace vx::scene
