// What the reader tells while it reads a scene.
#pragma once

#include "host/scene/declaration.h"
#include "host/scene/elements.h"
#include "host/scene/object.h"

namespace vx::scene {

/*
 * Called in the order of the text, from the thread that reads. References are checked before:
 * an instance's item, its materials, the members of a group, the named shaders in lists, the names
 * of a render command all exist and are of the right kind; a reference that does not hold is an
 * error and is left out. Not checked: declared names of shader calls, their parameters,
 * connections, light lists and the material names of polygons.
 *
 * Names in a namespace arrive with their prefix ("a::lamp"). Errors found by the receiver go to
 * the Diagnostics that the reader uses; once there is any error, on_render and on_call are not
 * called any more, while reading goes on to find further errors.
 */
class SceneReceiver {
  public:
    virtual ~SceneReceiver() = default;

    // A library to be attached; `path` is substituted but not yet searched for.
    virtual void on_link(const std::string& path, Location where) = 0;
    // Not called again for an equal redeclaration; a different one comes after a warning.
    virtual void on_declare(const Declaration& declaration) = 0;
    // 0 to 7 classes of messages: the level of `verbose`, with on = 5 and off = 2.
    virtual void on_verbose(int level) = 0;
    virtual void on_echo(const std::string& text) = 0;

    virtual void on_options(const Options& options) = 0;
    virtual void on_camera(const Camera& camera) = 0;
    virtual void on_light(const Light& light) = 0;
    virtual void on_texture(const Texture& texture) = 0;
    virtual void on_material(const Material& material) = 0;
    // Also for `= shader "name" …` inside another element, before that element.
    virtual void on_shader(const NamedShader& shader) = 0;
    virtual void on_data(const UserData& data) = 0;
    // The receiver owns the geometry.
    virtual void on_object(Object&& object) = 0;
    virtual void on_instance(const Instance& instance) = 0;
    virtual void on_group(const InstanceGroup& group) = 0;
    virtual void on_delete(const std::string& name, Location where) = 0;

    // Runs shaders now; camera instance and options are empty when not given.
    virtual void on_call(const ShaderList& shaders, const std::string& camera_instance,
                         const std::string& options, Location where) = 0;
    // False ends the reading.
    virtual bool on_render(const std::string& root_group, const std::string& camera_instance,
                           const std::string& options, Location where) = 0;
};

} // namespace vx::scene
