#include "src/reader/lookup.h"

#include "src/platform/map_read.h"
#include "src/reader/my_distance.h"
#include "src/reader/weights.h"
#include "src/tag/eval.h"

namespace {

constexpr miVector kBlack = {0.0f, 0.0f, 0.0f};

} // namespace

miBoolean ReadPoints(ReadResult* result, miState* state, ReadParameters* params,
                     const ReadInstanceData& record) {
    result->outColor = {0.0f, 0.0f, 0.0f, 0.0f};
    result->pointCount = 0;
    if (record.disabled != miFALSE) return miTRUE;
    if (record.mapHolder == nullptr) return miFALSE;

    const float minAngle = evalValue(state, &params->minAngle);
    const float maxAngle = evalValue(state, &params->maxAngle);
    mi::shader_v3::Map_lookup lookup(*record.mapHolder);
    const My_distance distance(state, minAngle, maxAngle, &record);
    map_read::Search(lookup, distance, record.maxPoints, record.radiusSquared);
    if (map_read::IsEmpty(lookup)) return miTRUE;

    const miColor exponent = evalValue(state, &params->falloff);
    const miColor gain = evalValue(state, &params->scale);
    const map_read::CSecondAccess access(*record.mapHolder);
    CWeights weight; // one set for all points: weights carry over from point to point
    miColor sum = {0.0f, 0.0f, 0.0f, 0.0f};
    int blended = 0;
    for (; !map_read::AtEnd(lookup); map_read::Next(lookup)) {
        const auto& point = map_read::Current(lookup);
        const miVector color = map_read::Field(point, record.rgbField, kBlack);
        if (!weight.Weigh(point, map_read::SquaredDistance(lookup), state->normal, exponent,
                          record)) {
            continue;
        }
        ++blended;
        sum.r += weight.r * color.x;
        sum.g += weight.g * color.y;
        sum.b += weight.b * color.z;
    }
    // A count of 0 is not guarded against: not-a-number channels show that every point was skipped.
    const auto count = static_cast<float>(blended);
    result->outColor.r = gain.r / count * sum.r;
    result->outColor.g = gain.g / count * sum.g;
    result->outColor.b = gain.b / count * sum.b;
    result->pointCount = map_read::Size(lookup);
    return miTRUE;
}
