// Loads an existing cache, and converts a cache into a map file.
#include "src/names/label_list.h"
#include "src/platform/map_write.h"
#include "src/points/pdc_file.h"
#include "src/writer/map_fields.h"
#include "src/writer/write_instance_data.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace {

// Converts the value of particle i: element i, or element 0 of a single-valued slot. Leaves `value`
// alone, with the value of an earlier particle, if a per-particle array is too short.
template <class Element, class Value, class Convert>
void TakeValue(const CAttribute& slot, const std::vector<Element>& values, std::int32_t i,
               Value* value, Convert convert) {
    const size_t at = slot.perParticle ? static_cast<size_t>(i) : 0;
    if (at < values.size()) *value = convert(values[at]);
}

miVector Narrowed(const CVectorD& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

// The number of particles to convert: the header's count, but no more than the length of the
// longest array or 1 << 20, whichever is larger. Particles beyond all arrays are copies of each
// other; without the limit, a file of 28 bytes could create 2^31 of them.
std::int32_t BelievableCount(const CPdc& pdc) {
    constexpr std::int64_t kMostUnbacked = 1 << 20;
    size_t longest = 0;
    for (const CAttribute& slot : pdc.slots)
        longest =
            std::max({longest, slot.floats.size(), slot.integers.size(), slot.vectors.size()});
    const std::int64_t most = std::max(kMostUnbacked, static_cast<std::int64_t>(longest));
    return static_cast<std::int32_t>(std::min<std::int64_t>(pdc.header.particleCount, most));
}

struct CloseFile {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};

} // namespace

bool WriteInstanceData::ReadPdc(const std::string& fileName) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(fileName.c_str(), "rb"));
    if (file == nullptr) {
        mi_warning("Cannot open %s for reading", fileName.c_str());
        return false;
    }
    pdc = new CPdc;
    if (LoadPdc(file.get(), *pdc)) return true;
    delete pdc;
    pdc = nullptr;
    return false;
}

bool WriteInstanceData::PdcToMap(const std::string& mapFileName) {
    using namespace mi::shader_v3;
    using namespace map_write;

    // Only the status of appending is checked: the renderer reports a map that cannot be written.
    Map_declaration declaration(3);
    if (!HoldsObject(declaration)) return false;
    for (const CMapField& field : kMapFields)
        AddField(declaration, field.name, field.type);
    Edit_map map(declaration);
    Map_element element(declaration);
    if (!HoldsObject(map) || !HoldsObject(element)) return false;
    Map_field_id fields[kMapFieldCount];
    for (int i = 0; i < kMapFieldCount; ++i)
        fields[i] = FieldId(declaration, kMapFields[i].name);

    const CAttribute& positions = pdc->slots[kSlotPosition];
    const CAttribute& colors = pdc->slots[kSlotRgb];
    const CAttribute& opacities = pdc->slots[kSlotOpacity];
    const CAttribute& normals = pdc->slots[kSlotNormal];
    const CAttribute& tags = pdc->slots[kSlotTag];

    const auto isWanted = [this](int label) {
        return params.useLabels == 0 || in_label_list(labelValues, labelCount, label) != 0;
    };
    miVector position = {0, 0, 0};
    miVector color = {0, 0, 0};
    float opacity = 0;
    miVector normal = {0, 0, 0};
    int tag = 0;
    bool complete = true;
    const std::int32_t count = BelievableCount(*pdc);
    for (std::int32_t i = 0; i < count; ++i) {
        TakeValue(tags, tags.integers, i, &tag, [](std::int64_t t) { return static_cast<int>(t); });
        if (!isWanted(tag)) continue;
        TakeValue(positions, positions.vectors, i, &position, Narrowed);
        SetPosition(element, position);
        TakeValue(colors, colors.vectors, i, &color, Narrowed);
        SetField(element, fields[kMapColor], color);
        TakeValue(opacities, opacities.floats, i, &opacity, [](float o) { return o; });
        SetField(element, fields[kMapOpacity], opacity);
        TakeValue(normals, normals.vectors, i, &normal, Narrowed);
        SetField(element, fields[kMapNormal], normal);
        SetField(element, fields[kMapTag], tag);
        if (!map->append(element).is_ok()) {
            complete = false;
            break;
        }
    }
    // Particles beyond this count have the tag of the last one before them.
    if (count < pdc->header.particleCount && isWanted(tag)) complete = false;

    // A failed append leaves a partial map, which is written as well.
    map->consolidate(kMapTreeQuality);
    map->write(mapFileName.c_str(), true);
    return complete;
}
