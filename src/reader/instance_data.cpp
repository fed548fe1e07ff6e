#include "src/reader/instance_data.h"

#include "src/names/frame_names.h"
#include "src/names/label_list.h"
#include "src/platform/map_read.h"
#include "src/platform/pinned.h"
#include "src/tag/eval.h"

#include <cstdlib>
#include <string>

namespace {

constexpr const char* kShaderName = "vx_pc_read";

// Returns a copy: the element is not pinned while the list is parsed.
std::string StringParameter(miTag tag) {
    if (tag == miNULLTAG) return {};
    const CPinned<char> text(tag);
    return text.Get();
}

} // namespace

ReadInstanceData::ReadInstanceData()
    : disabled(miFALSE),
      fileName(miNULLTAG),
      frame(0),
      radius(0),
      maxPoints(0),
      useLabels(miFALSE),
      labels(miNULLTAG),
      facing(0),
      useOpacity(miFALSE),
      radiusSquared(0),
      labelCount(0),
      labelValues(nullptr),
      mapHolder(nullptr),
      rgbField(map_read::kNoField),
      opacityField(map_read::kNoField),
      normalField(map_read::kNoField),
      tagField(map_read::kNoField),
      hasRgb(false),
      hasOpacity(false),
      hasNormal(false),
      hasTag(false) {}

ReadInstanceData::ReadInstanceData(miState* state, ReadParameters* params) : ReadInstanceData() {
    disabled = evalValue(state, &params->disable);
    if (disabled != miFALSE) return;
    fileName = evalValue(state, &params->fileName);
    frame = evalValue(state, &params->frame);
    radius = evalValue(state, &params->radius);
    maxPoints = evalValue(state, &params->maxPoints);
    useLabels = evalValue(state, &params->useLabels);
    if (useLabels != miFALSE) {
        labels = evalValue(state, &params->labels);
        labelCount = parse_label_list(StringParameter(labels).c_str(), &labelValues);
    }
    radiusSquared = radius * radius;
    facing = evalValue(state, &params->facing);
    useOpacity = evalValue(state, &params->useOpacity);
    LoadMap();
}

ReadInstanceData::~ReadInstanceData() {
    delete mapHolder;
    std::free(labelValues);
}

void ReadInstanceData::LoadMap() {
    // GetTagString requires the tag of a string; an unset parameter has none.
    if (fileName == miNULLTAG) return;
    const std::string file = MakeFrameFileName(GetTagString(fileName), "mrmap", frame);
    if (file.empty()) return;

    TakeMap(new mi::shader_v3::Access_map(file.c_str()), file.c_str());
}

void ReadInstanceData::TakeMap(mi::shader_v3::Access_map* access, const char* file) {
    mapHolder = access;
    const mi::shader_v3::Map_base* map = (*mapHolder).operator->();
    if (map == nullptr || map->is_empty()) {
        delete mapHolder;
        mapHolder = nullptr;
        return;
    }

    const mi::shader_v3::Map_declaration declaration(*mapHolder);
    if (!map_read::HasField(declaration, "rgbPP")) {
        mi_warning("%s: %s does not have a %s attribute, aborting", kShaderName, file, "rgbPP");
        delete mapHolder;
        mapHolder = nullptr;
        disabled = miTRUE;
        return;
    }
    hasRgb = true;
    rgbField = map_read::FieldId(declaration, "rgbPP");

    const auto find = [&](const char* name, bool& has, mi::shader_v3::Map_field_id& field) {
        has = map_read::HasField(declaration, name);
        if (has)
            field = map_read::FieldId(declaration, name);
        else
            mi_warning("%s: %s does not have a %s attribute", kShaderName, file, name);
    };
    find("opacityPP", hasOpacity, opacityField);
    find("normalPP", hasNormal, normalField);
    find("tag", hasTag, tagField);
}
