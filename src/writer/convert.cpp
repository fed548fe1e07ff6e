// Loading an existing cache, and turning a cache into a map file.
#include "src/names/label_list.h"
#include "src/platform/map_write.h"
#include "src/points/pdc_file.h"
#include "src/writer/write_instance_data.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace {

// Where a cache's values of particle i come from: element i, or element 0 for all. A per-particle
// array that is too short leaves `value` as it is, so that a particle takes over what the one
// before it had.
template <class Element, class Value, class Convert>
void TakeValue(const CAttribute& slot, const std::vector<Element>& values, std::int32_t i,
               Value* value, Convert convert) {
    const size_t at = slot.perParticle ? static_cast<size_t>(i) : 0;
    if (at < values.size()) *value = convert(values[at]);
}

miVector Narrowed(const CVectorD& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

// How many particles a map is made of: as many as the header counts. Where no array backs the
// count, all further particles are copies of one another, and a header may claim two thousand
// million of them: such a count is believed up to a million.
std::int32_t BelievableCount(const CPdc& pdc) {
    constexpr std::int64_t mostUnbacked = 1 << 20;
    size_t longest = 0;
    for (const CAttribute& slot : pdc.slots)
        longest =
            std::max({longest, slot.floats.size(), slot.integers.size(), slot.vectors.size()});
    const std::int64_t most = std::max(mostUnbacked, static_cast<std::int64_t>(longest));
    return static_cast<std::int32_t>(std::min<std::int64_t>(pdc.header.particleCount, most));
}

} // namespace

bool WriteInstanceData::ReadPdc(const std::string& fileName) {
    std::FILE* file = std::fopen(fileName.c_str(), "rb");
    if (file == nullptr) {
        mi_warning("Cannot open %s for reading", fileName.c_str());
        return false;
    }
    pdc = new CPdc;
    const bool loaded = LoadPdc(file, *pdc);
    if (!loaded) {
        delete pdc;
        pdc = nullptr;
    }
    (void)std::fclose(file);
    return loaded;
}

bool WriteInstanceData::PdcToMap(const std::string& mapFileName) {
    using namespace mi::shader_v3;
    using namespace map_write;

    // No status is looked at but that of appending: a map that cannot be written is the renderer's
    // to report.
    Map_declaration declaration(3);
    if (!HoldsObject(declaration)) return false;
    AddVectorField(declaration, "normalPP");
    AddVectorField(declaration, "rgbPP");
    AddScalarField(declaration, "opacityPP");
    AddIntegerField(declaration, "tag");
    Edit_map map(declaration);
    Map_element element(declaration);
    if (!HoldsObject(map) || !HoldsObject(element)) return false;
    const Map_field_id normalField = FieldId(declaration, "normalPP");
    const Map_field_id rgbField = FieldId(declaration, "rgbPP");
    const Map_field_id opacityField = FieldId(declaration, "opacityPP");
    const Map_field_id tagField = FieldId(declaration, "tag");

    const CAttribute& positions = pdc->slots[kSlotPosition];
    const CAttribute& colours = pdc->slots[kSlotRgb];
    const CAttribute& opacities = pdc->slots[kSlotOpacity];
    const CAttribute& normals = pdc->slots[kSlotNormal];
    const CAttribute& tags = pdc->slots[kSlotTag];

    miVector position = {0, 0, 0};
    miVector colour = {0, 0, 0};
    float opacity = 0;
    miVector normal = {0, 0, 0};
    int tag = 0;
    const std::int32_t count = BelievableCount(*pdc);
    bool complete = count >= pdc->header.particleCount;
    for (std::int32_t i = 0; i < count; ++i) {
        TakeValue(tags, tags.integers, i, &tag, [](std::int64_t t) { return static_cast<int>(t); });
        if (params.useLabels != 0 && in_label_list(labelValues, labelCount, tag) == 0) continue;
        TakeValue(positions, positions.vectors, i, &position, Narrowed);
        SetPosition(element, position);
        TakeValue(colours, colours.vectors, i, &colour, Narrowed);
        SetField(element, rgbField, colour);
        TakeValue(opacities, opacities.floats, i, &opacity, [](float o) { return o; });
        SetField(element, opacityField, opacity);
        TakeValue(normals, normals.vectors, i, &normal, Narrowed);
        SetField(element, normalField, normal);
        SetField(element, tagField, tag);
        if (!map->append(element).is_ok()) {
            complete = false;
            break;
        }
    }

    // After a failed append as well: what there is of the map is worth having.
    map->consolidate(0.6F);
    map->write(mapFileName.c_str(), true);
    return complete;
}
