#include "src/writer/write_instance_data.h"

#include "src/names/label_list.h"
#include "src/platform/pinned.h"
#include "src/platform/shader_access.h"
#include "src/tag/eval.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <stdexcept>

WriteInstanceData::WriteInstanceData(miState* state, WriteParameters* from)
    : lock(), done(false), labelCount(0), labelValues(nullptr), params(), pdc(nullptr) {
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
    params.samples = 1;
    if (params.jitter != 0) {
        const int samples = evalValue(state, &from->samples);
        if (samples > 1) params.samples = samples;
    }
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
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    const std::int64_t pixels =
        static_cast<std::int64_t>(camera->x_resolution) * camera->y_resolution;
    if (pixels > most / params.samples)
        throw std::length_error("more samples in the image than a grid has rows");
    grid.Resize(static_cast<std::int32_t>(pixels * params.samples), params.layers);
}
