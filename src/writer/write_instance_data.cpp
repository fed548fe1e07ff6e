#include "src/writer/write_instance_data.h"

#include "src/names/label_list.h"
#include "src/platform/pinned.h"
#include "src/platform/shader_access.h"
#include "src/tag/eval.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

std::optional<std::int32_t> GridRows(int width, int height, int samples) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    const std::int64_t pixels = std::int64_t{std::max(width, 0)} * std::max(height, 0);
    if (pixels > kMost / samples) return std::nullopt;
    return static_cast<std::int32_t>(pixels * samples);
}

WriteInstanceData::WriteInstanceData(miState* state, WriteParameters* from)
    : lock(),
      done(false),
      labelCount(0),
      labelValues(nullptr),
      params(),
      pdc(nullptr),
      tooManySamples(false) {
    InitLock(&lock);
    try {
        ReadParameters(state, from);
        SizeGrid(state->camera);
    } catch (...) {
        Release();
        throw;
    }
}

WriteInstanceData::~WriteInstanceData() {
    Release();
}

void WriteInstanceData::Release() {
    delete pdc;
    free(labelValues);
    DeleteLock(&lock);
}

void WriteInstanceData::ReadParameters(miState* state, WriteParameters* from) {
    params.disable = evalValue(state, &from->disable);
    params.jitter = evalValue(state, &from->jitter);
    params.samples = params.jitter != 0 ? std::max(evalValue(state, &from->samples), 1) : 1;
    params.layers = evalValue(state, &from->layers);
    params.radius = evalValue(state, &from->radius);
    params.useLabels = evalValue(state, &from->useLabels);
    if (params.useLabels != 0) {
        params.labels = evalValue(state, &from->labels);
        std::string text;
        if (params.labels != miNULLTAG) text = CPinned<const char>(params.labels).Get();
        labelCount = parse_label_list(text.c_str(), &labelValues);
    }
    params.pdcFileName = evalValue(state, &from->pdcFileName);
    params.mapFileName = evalValue(state, &from->mapFileName);
    params.outputMode = evalValue(state, &from->outputMode);
    params.frame = evalValue(state, &from->frame);
}

void WriteInstanceData::SizeGrid(const miCamera* camera) {
    // An instance that never bakes needs no grid, so the image may have any size.
    if (params.disable == 1 || params.outputMode == kOutputConvert) return;
    const auto rows = GridRows(camera->x_resolution, camera->y_resolution, params.samples);
    tooManySamples = !rows.has_value();
    if (rows) grid.Resize(*rows, params.layers);
}
