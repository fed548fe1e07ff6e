#include "host/trace/world.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <stdexcept>

namespace vx::trace {

namespace {

constexpr int kMaxGraphDepth = 200;
// A leaf takes 1.3 KB, an entry of its material list 4 bytes.
constexpr std::size_t kMaxLeaves = 4'000'000;
constexpr std::size_t kMaxMaterials = 500'000'000;
constexpr std::size_t kMaxVisits = 20'000'000;

// Bits 1 and 2 switch a flag on, bits 4 and 8 switch it off; flags that are not given are
// inherited.
unsigned char inherit_bits(unsigned char given, unsigned char above) {
    unsigned char result = 0;
    for (unsigned char bit = 1; bit <= 2; bit = static_cast<unsigned char>(bit << 1)) {
        const auto off = static_cast<unsigned char>(bit << 2);
        if ((given & (bit | off)) != 0)
            result = static_cast<unsigned char>(result | (given & (bit | off)));
        else
            result = static_cast<unsigned char>(result | (above & (bit | off)));
    }
    return result;
}

unsigned char resolve_bits(unsigned char inherited, unsigned char object) {
    unsigned char result = 0;
    for (unsigned char bit = 1; bit <= 2; bit = static_cast<unsigned char>(bit << 1)) {
        const auto off = static_cast<unsigned char>(bit << 2);
        const bool on = (inherited & off) != 0   ? false
                        : (inherited & bit) != 0 ? true
                                                 : (object & bit) != 0;
        if (on) result = static_cast<unsigned char>(result | bit);
    }
    return result;
}

std::vector<miTag> tags_of(const db::Database& database, miTag list) {
    const auto* const tags = database.find<miTag>(list, miSCENE_TAGS);
    if (tags == nullptr) return {};
    return {tags, tags + database.size(list) / sizeof(miTag)};
}

} // namespace

struct World::Inherited {
    Matrix to_local = kIdentity; // world to here
    Matrix to_world = kIdentity;
    miTag material = miNULLTAG; // as in miInstance
    int mtl_array_size = 0;
    bool override_material = false;
    miTag lights = miNULLTAG;
    bool light_exclusive = false;
    unsigned char visible = 0;
    unsigned char shadow = 0, reflection = 0, refraction = 0, transparency = 0;
    unsigned char caustic = 0, globillum = 0, finalgather = 0;
    unsigned char face = 0, shadowmap = 0, select = 0, hardware = 0;
    miUint label = 0;
    miTag userdata = miNULLTAG;
    miTag instance = miNULLTAG; // the innermost instance of the scene
};

miTag ObjectLeaf::find_material(std::uint32_t triangle) const {
    const scene::Mesh& mesh = *object->description.mesh;
    const std::int32_t number =
        triangle < mesh.triangle_material.size() ? mesh.triangle_material[triangle] : -1;
    if (object->description.flags.tagged) {
        if (materials.empty()) return miNULLTAG;
        const auto last = static_cast<std::int32_t>(materials.size()) - 1;
        return materials[static_cast<std::size_t>(number < 0 ? last : std::min(number, last))];
    }
    const miTag inherited = materials.empty() ? miNULLTAG : materials.front();
    if (override_material && inherited != miNULLTAG) return inherited;
    if (number >= 0 && static_cast<std::size_t>(number) < object->materials.size() &&
        object->materials[static_cast<std::size_t>(number)] != miNULLTAG)
        return object->materials[static_cast<std::size_t>(number)];
    return inherited;
}

World::World(shading::Context& context, const shading::RenderRequest& request,
             const std::string& embree_config)
    : m_context(context), m_wanted_camera(request.camera_instance), m_place(request.place) {
    try {
        visit_group(request.root, Inherited{}, 0);
        if (m_camera == miNULLTAG) {
            // The camera need not be part of the root group.
            visit_instance(request.camera_instance, Inherited{}, 0);
        }
        const auto* const options =
            m_context.database.find<miOptions>(request.options, miSCENE_OPTIONS);
        const int options_face = options != nullptr ? options->face : miFACE_BOTH;
        std::vector<Placement> placements;
        placements.reserve(m_objects.size());
        for (std::size_t i = 0; i < m_objects.size(); ++i) {
            const ObjectLeaf& leaf = m_objects[i];
            m_object_index[leaf.instance] = i;
            Placement p;
            p.mesh = &*leaf.object->description.mesh;
            p.to_world = to_matrix(leaf.record->tf.local_to_global);
            p.to_local = to_matrix(leaf.record->tf.global_to_local);
            p.at_origin = leaf.record->tf.identity != 0;
            p.mask = mask_probe | (leaf.visible ? mask_eye : 0u) |
                     ((leaf.transparency & flag_casts) ? mask_transparent : 0u) |
                     ((leaf.reflection & flag_casts) ? mask_reflect : 0u) |
                     ((leaf.refraction & flag_casts) ? mask_refract : 0u) |
                     ((leaf.shadow & flag_casts) ? mask_shadow : 0u);
            p.eye_face = leaf.face & options_face;
            placements.push_back(p);
        }
        for (std::size_t i = 0; i < m_lights.size(); ++i)
            m_light_index[m_lights[i].instance] = i;
        m_context.database.for_each(miSCENE_MATERIAL, [&](miTag, void* element) {
            m_has_shadow_shaders = m_has_shadow_shaders ||
                                   static_cast<const miMaterial*>(element)->shadow != miNULLTAG;
        });
        m_accel = std::make_unique<Accel>(placements, embree_config);
    } catch (...) {
        for (const miTag tag : m_elements)
            m_context.database.remove(tag);
        throw;
    }
}

World::~World() {
    for (const miTag tag : m_elements)
        m_context.database.remove(tag);
}

void World::visit_group(miTag group, const Inherited& above, int depth) {
    m_path.push_back(group);
    if (const auto* const members = m_context.database.find<miTag>(group, miSCENE_GROUP)) {
        const std::size_t count = m_context.database.size(group) / sizeof(miTag);
        for (std::size_t i = 0; i < count; ++i)
            if (members[i] != miNULLTAG) visit_instance(members[i], above, depth + 1);
    }
    m_path.pop_back();
}

void World::visit_instance(miTag tag, const Inherited& above, int depth) {
    if (depth > kMaxGraphDepth || std::find(m_path.begin(), m_path.end(), tag) != m_path.end())
        throw std::runtime_error(
            fmt::format("instance \"{}\" contains itself, or groups nest deeper than {}",
                        m_context.database.name(tag), kMaxGraphDepth));
    const auto* const instance = m_context.database.find<miInstance>(tag, miSCENE_INSTANCE);
    if (instance == nullptr || instance->off) return;

    if (++m_visits > kMaxVisits) too_large(fmt::format("{} instances and groups", kMaxVisits));
    Inherited here = above;
    here.instance = tag;
    if (!instance->tf.identity) {
        here.to_local = multiply(above.to_local, to_matrix(instance->tf.global_to_local));
        here.to_world = multiply(to_matrix(instance->tf.local_to_global), above.to_world);
    }
    if (instance->material != miNULLTAG && !above.override_material) {
        here.material = instance->material;
        here.mtl_array_size = instance->mtl_array_size;
        here.override_material = instance->override_material != 0;
    }
    if (instance->light_obj_ring != miNULLTAG) {
        here.lights = instance->light_obj_ring;
        here.light_exclusive = instance->light_exclusive != 0;
    }
    const auto nearer = [](unsigned char& to, unsigned char given) {
        if (given != 0) to = given;
    };
    nearer(here.visible, instance->visible);
    nearer(here.face, instance->face);
    nearer(here.shadowmap, instance->shadowmap);
    nearer(here.select, instance->select);
    nearer(here.hardware, instance->hardware);
    here.shadow = inherit_bits(instance->shadow, above.shadow);
    here.reflection = inherit_bits(instance->reflection, above.reflection);
    here.refraction = inherit_bits(instance->refraction, above.refraction);
    here.transparency = inherit_bits(instance->transparency, above.transparency);
    here.caustic = inherit_bits(instance->caustic, above.caustic);
    here.globillum = inherit_bits(instance->globillum, above.globillum);
    here.finalgather = inherit_bits(instance->finalgather, above.finalgather);
    if (instance->label != 0) here.label = instance->label;
    if (instance->userdata != miNULLTAG) here.userdata = instance->userdata;

    m_path.push_back(tag);
    switch (m_context.database.type(instance->item)) {
    case miSCENE_GROUP:
        if (std::find(m_path.begin(), m_path.end(), instance->item) != m_path.end())
            throw std::runtime_error(fmt::format("group \"{}\" contains itself",
                                                 m_context.database.name(instance->item)));
        visit_group(instance->item, here, depth);
        break;
    case miSCENE_OBJECT:
        add_object(instance->item, here);
        break;
    case miSCENE_LIGHT:
        m_path.push_back(instance->item);
        add_light(instance->item, here, m_path);
        m_path.pop_back();
        break;
    case miSCENE_CAMERA:
        if (tag == m_wanted_camera && m_camera == miNULLTAG)
            m_camera = new_leaf(instance->item, here);
        break;
    default:
        break;
    }
    m_path.pop_back();
}

void World::count_leaf() {
    if (m_elements.size() >= kMaxLeaves)
        too_large(fmt::format("{} objects and lights", kMaxLeaves));
}

void World::too_large(const std::string& what) const {
    // The root group comes first.
    const miTag outermost = m_path.size() > 1 ? m_path[1] : miNULLTAG;
    throw std::runtime_error(
        fmt::format("{}: too many nested instances: instance \"{}\" brings the "
                    "scene to more than {}",
                    m_place, m_context.database.name(outermost), what));
}

miTag World::new_leaf(miTag item, const Inherited& reach) {
    count_leaf();
    const miTag tag = m_context.database.create(miSCENE_INSTANCE, sizeof(miInstance));
    m_elements.push_back(tag);
    auto& leaf = *static_cast<miInstance*>(m_context.database.find(tag));
    store(reach.to_local, leaf.tf.global_to_local);
    store(reach.to_world, leaf.tf.local_to_global);
    leaf.tf.identity = reach.to_local == kIdentity ? miTRUE : miFALSE;
    store(kIdentity, leaf.motion_transform);
    leaf.item = item;
    leaf.material = reach.material;
    leaf.mtl_array_size = reach.mtl_array_size;
    leaf.parent = reach.instance;
    leaf.light_obj_ring = reach.lights;
    leaf.light_exclusive = reach.light_exclusive ? miTRUE : miFALSE;
    leaf.override_material = reach.override_material ? miTRUE : miFALSE;
    leaf.userdata = reach.userdata;
    leaf.label = reach.label;
    leaf.visible = reach.visible;
    leaf.shadow = reach.shadow;
    leaf.shadowmap = reach.shadowmap;
    leaf.reflection = reach.reflection;
    leaf.refraction = reach.refraction;
    leaf.transparency = reach.transparency;
    leaf.caustic = reach.caustic;
    leaf.globillum = reach.globillum;
    leaf.finalgather = reach.finalgather;
    leaf.face = reach.face;
    leaf.select = reach.select;
    leaf.hardware = reach.hardware;
    m_context.database.set_name(tag, m_context.database.name(reach.instance));
    return tag;
}

void World::add_object(miTag item, const Inherited& reach) {
    const auto* const object =
        m_context.database.find<shading::ObjectElement>(item, miSCENE_OBJECT);
    if (object == nullptr || !object->description.mesh) return;
    ObjectLeaf leaf;
    leaf.instance = new_leaf(item, reach);
    leaf.record = static_cast<const miInstance*>(m_context.database.find(leaf.instance));
    leaf.object = object;
    if (reach.mtl_array_size > 0)
        leaf.materials = tags_of(m_context.database, reach.material);
    else if (reach.material != miNULLTAG)
        leaf.materials = {reach.material};
    leaf.override_material = reach.override_material;
    m_materials += leaf.materials.size();
    if (m_materials > kMaxMaterials)
        too_large(fmt::format("{} entries of material lists", kMaxMaterials));

    const scene::ObjectFlags& flags = object->description.flags;
    leaf.visible = reach.visible == 0 ? flags.visible : reach.visible == 2;
    leaf.shadow = resolve_bits(reach.shadow, flags.shadow);
    leaf.reflection = resolve_bits(reach.reflection, flags.reflection);
    leaf.refraction = resolve_bits(reach.refraction, flags.refraction);
    leaf.transparency = resolve_bits(reach.transparency, flags.transparency);
    leaf.face = reach.face != 0 ? reach.face : static_cast<int>(flags.face);
    leaf.label = reach.label != 0 ? reach.label : object->description.label;
    const std::vector<std::int32_t>& numbers = object->description.mesh->triangle_material;
    if (std::adjacent_find(numbers.begin(), numbers.end(), std::not_equal_to<>()) == numbers.end())
        leaf.only_material = leaf.find_material(0);
    check_materials(leaf);
    m_objects.push_back(std::move(leaf));
}

void World::check_materials(const ObjectLeaf& leaf) {
    const scene::Mesh& mesh = *leaf.object->description.mesh;
    if (mesh.triangles.empty()) return;
    const std::string& name = leaf.object->description.name;
    const auto omit = [&] { m_context.omissions.add(scene::Omission::material, '"' + name + '"'); };
    if (leaf.object->description.flags.tagged) {
        const auto highest =
            std::max_element(mesh.triangle_material.begin(), mesh.triangle_material.end());
        if (leaf.materials.empty()) {
            omit();
            m_context.messages.write(
                shading::Level::warning, "RENDER", -1,
                fmt::format("object \"{}\" is tagged, but instance \"{}\" gives it no materials",
                            name, m_context.database.name(leaf.instance)));
        } else if (highest != mesh.triangle_material.end() &&
                   static_cast<std::size_t>(std::max(0, *highest)) >= leaf.materials.size()) {
            omit();
            m_context.messages.write(
                shading::Level::warning, "RENDER", -1,
                fmt::format("object \"{}\" has label {}, but instance \"{}\" has {} materials; "
                            "using the last",
                            name, *highest, m_context.database.name(leaf.instance),
                            leaf.materials.size()));
        }
        return;
    }
    for (std::uint32_t i = 0; i < mesh.triangles.size(); ++i)
        if (leaf.material(i) == miNULLTAG) {
            omit();
            m_context.messages.write(shading::Level::warning, "RENDER", -1,
                                     fmt::format("object \"{}\" has surfaces without a material; "
                                                 "they stay black",
                                                 name));
            return;
        }
}

void World::add_light(miTag item, const Inherited& reach, const std::vector<miTag>& path) {
    const auto* const light = m_context.database.find<miLight>(item, miSCENE_LIGHT);
    if (light == nullptr) return;
    LightLeaf leaf;
    leaf.instance = new_leaf(item, reach);
    leaf.light = light;
    leaf.origin = point(reach.to_world, light->origin);
    leaf.direction = normalized(direction(reach.to_world, light->direction));
    for (const miTag tag : path)
        m_light_leaves[tag].push_back(leaf.instance);
    m_light_leaves[leaf.instance].push_back(leaf.instance);
    m_lights.push_back(leaf);
}

const ObjectLeaf* World::find_object(miTag instance) const {
    if (instance == miNULLTAG) return nullptr;
    const auto found = m_object_index.find(instance);
    return found == m_object_index.end() ? nullptr : &m_objects[found->second];
}

const LightLeaf* World::find_light(miTag instance) const {
    const auto found = m_light_index.find(instance);
    return found == m_light_index.end() ? nullptr : &m_lights[found->second];
}

const std::vector<miTag>& World::light_leaves(miTag tag) const {
    static const std::vector<miTag> kNone;
    const auto found = m_light_leaves.find(tag);
    return found == m_light_leaves.end() ? kNone : found->second;
}

} // namespace vx::trace
