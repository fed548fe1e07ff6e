#include "src/reader/lookup.h"

#include "src/platform/map_read.h"
#include "src/reader/blend.h"
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
    CBlend blend(state, minAngle, maxAngle, record);
    if (blend.IsEmpty()) return miTRUE;

    const miColor exponent = evalValue(state, &params->falloff);
    const miColor gain = evalValue(state, &params->scale);
    const map_read::CSecondAccess access(*record.mapHolder);
    miColor sum = {0.0f, 0.0f, 0.0f, 0.0f};
    int blended = 0;
    blend.Visit(exponent, [&](const auto& point, float, const CWeights& weight, bool leftOut) {
        if (leftOut) return;
        const miVector color = map_read::Field(point, record.rgbField, kBlack);
        ++blended;
        sum.r += weight.r * color.x;
        sum.g += weight.g * color.y;
        sum.b += weight.b * color.z;
    });
    // A count of 0 is not guarded against: not-a-number channels show that every point was skipped.
    const auto count = static_cast<float>(blended);
    result->outColor.r = gain.r / count * sum.r;
    result->outColor.g = gain.g / count * sum.g;
    result->outColor.b = gain.b / count * sum.b;
    result->pointCount = blend.Size();
    return miTRUE;
}
