// The contents of a frame: the graph of instances, flattened into one leaf per placed object or
// light.
//
// A leaf is an instance element of its own. Its transformation is the product of those above it
// (p_local = p_world * T_outer * T_inner); its material, flags, lights and label are inherited.
// Leaf elements are removed with the World.
#pragma once

#include "host/shading/context.h"
#include "host/shading/scene_elements.h"
#include "host/trace/accel.h"

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace vx::trace {

// Ray flags of a leaf: rays of the kind can hit it; its surface may send such rays.
enum : unsigned char { flag_casts = 1, flag_receives = 2 };

struct ObjectLeaf {
    miTag instance = miNULLTAG;                     // the leaf element
    const miInstance* record = nullptr;             // its contents
    const shading::ObjectElement* object = nullptr; // what is placed
    std::vector<miTag> materials;                   // inherited: a list, or one
    bool override_material = false;                 // inherited materials replace the object's own
    bool visible = false;
    unsigned char shadow = 0, reflection = 0, refraction = 0, transparency = 0; // flag_*
    int face = miFACE_BOTH;
    miUint label = 0;
    std::optional<miTag> only_material; // of all triangles, if they share one

    // Material of a triangle: the object's own, else the inherited one. For a tagged object: the
    // entry of the inherited list with the number of the triangle's label, or the last entry if the
    // list is too short. 0 if there is none.
    [[nodiscard]] miTag material(std::uint32_t triangle) const {
        return only_material ? *only_material : find_material(triangle);
    }
    [[nodiscard]] miTag find_material(std::uint32_t triangle) const;
};

struct LightLeaf {
    miTag instance = miNULLTAG;
    const miLight* light = nullptr;
    miVector origin{};    // internal space
    miVector direction{}; // internal space, normalized
};

class World {
  public:
    // Flattens the graph below the root group. Throws std::runtime_error if the graph contains
    // itself or is too large, or if Embree fails. Warnings go to the context's messages.
    World(shading::Context& context, const shading::RenderRequest& request,
          const std::string& embree_config = {});
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    [[nodiscard]] const Accel& accel() const { return *m_accel; }
    [[nodiscard]] const ObjectLeaf& object(std::uint32_t placement) const {
        return m_objects[placement];
    }
    // Null if the tag is not that of a leaf of an object (of a light).
    [[nodiscard]] const ObjectLeaf* find_object(miTag instance) const;
    [[nodiscard]] const LightLeaf* find_light(miTag instance) const;
    // The leaves that a tag in a light list stands for. It may be that of a leaf, of a light, of an
    // instance of a light or of a group, or of a group. Empty for other tags.
    [[nodiscard]] const std::vector<miTag>& light_leaves(miTag tag) const;
    [[nodiscard]] const std::vector<LightLeaf>& lights() const { return m_lights; }
    [[nodiscard]] std::size_t object_count() const { return m_objects.size(); }
    // The leaf of the requested camera instance.
    [[nodiscard]] miTag camera_instance() const { return m_camera; }
    // Whether any material has a shadow shader; if not, all occluders are opaque.
    [[nodiscard]] bool has_shadow_shaders() const { return m_has_shadow_shaders; }

  private:
    struct Inherited;
    void visit_group(miTag group, const Inherited& above, int depth);
    void visit_instance(miTag instance, const Inherited& above, int depth);
    void add_object(miTag item, const Inherited& reach);
    void add_light(miTag item, const Inherited& reach, const std::vector<miTag>& path);
    miTag new_leaf(miTag item, const Inherited& reach);
    void count_leaf();
    [[noreturn]] void too_large(const std::string& what) const;
    void check_materials(const ObjectLeaf& leaf);

    shading::Context& m_context;
    miTag m_wanted_camera;
    std::string m_place;         // of the render command
    std::size_t m_visits = 0;    // of instances
    std::size_t m_materials = 0; // entries of the leaves' lists
    miTag m_camera = miNULLTAG;
    std::vector<ObjectLeaf> m_objects;
    std::vector<LightLeaf> m_lights;
    std::vector<miTag> m_elements; // the leaf elements
    std::vector<miTag> m_path;     // instances and groups that are being visited
    std::unordered_map<miTag, std::size_t> m_object_index, m_light_index;
    std::unordered_map<miTag, std::vector<miTag>> m_light_leaves;
    bool m_has_shadow_shaders = false;
    std::unique_ptr<Accel> m_accel;
};

} // namespace vx::trace
