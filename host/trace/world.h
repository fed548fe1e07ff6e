// What a frame shows: the graph of instances flattened into one leaf per object and light placed.
//
// A leaf instance is a database element of its own. Its transformation is composed from the root
// down (p_local = p_world * T_outer * T_inner), its material, flags, lights and label are those
// that reach it. Leaves live until the World goes.
#pragma once

#include "host/shading/build.h"
#include "host/trace/accel.h"

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace vx::trace {

// Bits of the ray flags of a leaf: such rays can hit it; its own surface may send such rays.
enum : unsigned char { flag_casts = 1, flag_receives = 2 };

struct ObjectLeaf {
    miTag instance = miNULLTAG;              // the leaf element
    const miInstance* record = nullptr;      // its contents
    const shading::Object* object = nullptr; // what is placed
    std::vector<miTag> materials;            // inherited: a list, or one
    bool override_material = false;          // the inherited ones win over the object's own
    bool visible = false;
    unsigned char shadow = 0, reflection = 0, refraction = 0, transparency = 0; // flag_*
    int face = miFACE_BOTH;
    miUint label = 0;
    std::optional<miTag> only_material; // of all triangles, when they share one

    // Material of a triangle: the object's own, else what is inherited; a tagged object picks from
    // the list with its label, the last entry when that lies beyond. 0 when there is none.
    [[nodiscard]] miTag material(std::uint32_t triangle) const {
        return only_material ? *only_material : find_material(triangle);
    }
    [[nodiscard]] miTag find_material(std::uint32_t triangle) const;
};

struct LightLeaf {
    miTag instance = miNULLTAG;
    const miLight* light = nullptr;
    miVector origin{};    // internal space
    miVector direction{}; // internal space, normalised
};

class World {
  public:
    // Flattens what hangs below the root group. Throws std::runtime_error with the reason for a
    // graph that contains itself or is far too large, or when the ray tracer fails. Warnings go to
    // the context's messages.
    World(shading::Context& context, const shading::RenderRequest& request,
          const std::string& embree_config = {});
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    [[nodiscard]] const Accel& accel() const { return *accel_; }
    [[nodiscard]] const ObjectLeaf& object(std::uint32_t placement) const {
        return objects_[placement];
    }
    // Null when the tag is no leaf instance of an object (a light).
    [[nodiscard]] const ObjectLeaf* find_object(miTag instance) const;
    [[nodiscard]] const LightLeaf* find_light(miTag instance) const;
    // The leaves that a tag of a light list stands for: itself, a light instance of the scene, an
    // instance of a group of lights, a group or a light. Empty for anything else.
    [[nodiscard]] const std::vector<miTag>& light_leaves(miTag tag) const;
    [[nodiscard]] const std::vector<LightLeaf>& lights() const { return lights_; }
    [[nodiscard]] std::size_t object_count() const { return objects_.size(); }
    // The leaf of the camera instance that was asked for.
    [[nodiscard]] miTag camera_instance() const { return camera_; }
    // Whether any material has a shadow shader; if not, whatever is in the way blocks all light.
    [[nodiscard]] bool has_shadow_shaders() const { return has_shadow_shaders_; }

  private:
    struct Inherited;
    void visit_group(miTag group, const Inherited& above, int depth);
    void visit_instance(miTag instance, const Inherited& above, int depth);
    void add_object(miTag item, const Inherited& reach);
    void add_light(miTag item, const Inherited& reach, const std::vector<miTag>& path);
    miTag new_leaf(miTag item, const Inherited& reach);
    void count_leaf();
    void check_materials(const ObjectLeaf& leaf);

    shading::Context& context_;
    miTag wanted_camera_;
    miTag camera_ = miNULLTAG;
    std::vector<ObjectLeaf> objects_;
    std::vector<LightLeaf> lights_;
    std::vector<miTag> elements_; // ours to remove
    std::vector<miTag> path_;     // instances and groups that are being visited
    std::unordered_map<miTag, std::size_t> object_index_, light_index_;
    std::unordered_map<miTag, std::vector<miTag>> light_leaves_;
    bool has_shadow_shaders_ = false;
    std::unique_ptr<Accel> accel_;
};

} // namespace vx::trace
