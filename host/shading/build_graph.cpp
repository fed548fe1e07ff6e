// SceneBuilder: objects, instances and groups.
#include <algorithm>

#include "host/shading/build.h"
#include "host/shading/records.h"

namespace vx::shading {

namespace {

// Stores a list in the tag array `kept`, which is made if it is the null tag.
miTag store_tags(db::Database& database, miTag& kept, const std::vector<miTag>& tags) {
    if (kept == miNULLTAG)
        kept = database.create_tags(tags);
    else
        database.replace_tags(kept, tags);
    return kept;
}

} // namespace

void SceneBuilder::on_object(scene::Object&& object) {
    const std::string name = object.name;
    miTag tag = m_names.find(Kind::object, name);
    if (tag == miNULLTAG) {
        tag = m_context.database.adopt(miSCENE_OBJECT, std::make_unique<ObjectElement>());
        m_context.database.set_name(tag, name);
        m_names.set(Kind::object, name, tag);
    }
    ObjectElement& element = *m_context.database.find<ObjectElement>(tag, miSCENE_OBJECT);
    if (object.mesh)
        ++element.revision;
    else
        object.mesh =
            element.description.mesh ? std::move(element.description.mesh) : scene::Mesh{};
    element.description = std::move(object);
    if (!resolve_materials(element, false)) m_unresolved_objects.insert(tag);
}

void SceneBuilder::on_instance(const scene::Instance& instance) {
    const miTag tag = element(Kind::instance, miSCENE_INSTANCE, sizeof(miInstance), instance.name);
    auto& record = *m_context.database.find<miInstance>(tag, miSCENE_INSTANCE);
    record = instance_record(instance);
    for (const Kind kind : {Kind::object, Kind::group, Kind::light, Kind::camera})
        if (record.item == miNULLTAG) record.item = m_names.find(kind, instance.item);

    std::vector<miTag> materials;
    for (const std::string& name : instance.materials)
        if (const miTag material = m_names.find(Kind::material, name); material != miNULLTAG)
            materials.push_back(material);
    // A list of one material differs from a single material: see miInstance.
    if (instance.material_list && !materials.empty()) {
        record.material = store_tags(m_context.database, m_material_lists[tag], materials);
        record.mtl_array_size = static_cast<int>(materials.size());
    } else if (!materials.empty()) {
        record.material = materials.front();
    }

    if (!instance.geometry_shaders.empty())
        m_diagnostics.warning_once("geometry shader", instance.where,
                                   "geometry shaders are not supported; their objects are missing");
    if (!instance.transform_shader.empty())
        m_diagnostics.warning_once(
            "transform shader", instance.where,
            "transform shaders are not supported; the instance keeps its matrix");
    record.userdata = data_chain(instance.data, instance.where);
    if (!resolve_lights(instance, tag, false)) m_unresolved_instances.insert(tag);
    m_instances.insert_or_assign(tag, instance);
}

void SceneBuilder::on_group(const scene::InstanceGroup& group) {
    std::vector<miTag> members;
    for (const std::string& name : group.members)
        if (const miTag tag = m_names.find(Kind::instance, name); tag != miNULLTAG)
            members.push_back(tag);
    const miTag tag = element(Kind::group, miSCENE_GROUP, 0, group.name);
    void* const contents =
        m_context.database.replace(tag, miSCENE_GROUP, members.size() * sizeof(miTag));
    std::copy(members.begin(), members.end(), static_cast<miTag*>(contents));
}

bool SceneBuilder::resolve_lights(const scene::Instance& instance, miTag tag, bool report) {
    if (!instance.lights) return true;
    bool all_known = true;
    std::vector<miTag> tags;
    for (const std::string& name : instance.lights->lights) {
        if (const auto light = m_shaders.reference(miTYPE_LIGHT, name)) {
            tags.push_back(*light);
            continue;
        }
        all_known = false;
        if (report)
            m_diagnostics.error(instance.where, "instance \"" + instance.name +
                                                    "\": there is no light \"" + name + '"');
    }
    m_context.database.find<miInstance>(tag, miSCENE_INSTANCE)->light_obj_ring =
        store_tags(m_context.database, m_light_lists[tag], tags);
    return all_known;
}

bool SceneBuilder::resolve_materials(ObjectElement& object, bool report) {
    const scene::Object& description = object.description;
    bool all_known = true;
    object.materials.clear();
    for (const std::string& name : description.mesh->material_names) {
        const miTag tag = m_names.find(Kind::material, name);
        object.materials.push_back(tag);
        if (tag != miNULLTAG) continue;
        all_known = false;
        if (report)
            m_diagnostics.error(description.where, "object \"" + description.name +
                                                       "\": there is no material \"" + name + '"');
    }
    return all_known;
}

} // namespace vx::shading
