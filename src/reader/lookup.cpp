#include "src/reader/lookup.h"

#include "src/platform/map_read.h"
#include "src/reader/my_distance.h"
#include "src/tag/eval.h"

#include <cmath>

namespace {

constexpr miVector kBlack = {0.0F, 0.0F, 0.0F};
constexpr float kOpaque = 1.0F;

// 1 at the query point, 0 at the radius and beyond, smooth in between.
float Falloff(float distance, float radius) {
    if (!(distance > 0.0F)) return 1.0F;
    if (distance >= radius) return 0.0F;
    const float t = distance / radius;
    return 1.0F - (t * t * -2.0F * t + t * t * 3.0F);
}

struct CWeights {
    float r = 1.0F, g = 1.0F, b = 1.0F;

    // A channel without an exponent keeps what it has, also what facing and opacity of earlier
    // points made of it. Blue looks at red's exponent like green does, never at green's.
    void Set(float falloff, const miColor& exponent) {
        if (exponent.r != 0.0F) r = powf(falloff, exponent.r);
        if (exponent.g == exponent.r)
            g = r;
        else if (exponent.g != 0.0F)
            g = powf(falloff, exponent.g);
        if (exponent.b == exponent.r)
            b = r;
        else if (exponent.b != 0.0F)
            b = powf(falloff, exponent.b);
    }
    void Multiply(float factor) {
        r *= factor;
        g *= factor;
        b *= factor;
    }
};

} // namespace

miBoolean ReadPoints(ReadResult* result, miState* state, ReadParameters* params,
                     const ReadInstanceData& record) {
    result->outColor = {0.0F, 0.0F, 0.0F, 0.0F};
    result->pointCount = 0;
    if (record.disabled != miFALSE) return miTRUE;
    if (record.mapHolder == nullptr) return miFALSE;

    const float min_angle = evalValue(state, &params->minAngle);
    const float max_angle = evalValue(state, &params->maxAngle);
    mi::shader_v3::Map_lookup lookup(*record.mapHolder);
    const My_distance distance(state, min_angle, max_angle, &record);
    map_read::Search(lookup, distance, record.maxPoints, record.radiusSquared);
    if (map_read::IsEmpty(lookup)) return miTRUE;

    const miColor exponent = evalValue(state, &params->falloff);
    const miColor gain = evalValue(state, &params->scale);
    const map_read::CSecondAccess access(*record.mapHolder);
    CWeights weight; // one set for all points, not one per point
    miColor sum = {0.0F, 0.0F, 0.0F, 0.0F};
    int blended = 0;
    for (; !map_read::AtEnd(lookup); map_read::Next(lookup)) {
        const auto& point = map_read::Current(lookup);
        const miVector color = map_read::Field(point, record.rgbField, kBlack);
        weight.Set(Falloff(sqrtf(map_read::SquaredDistance(lookup)), record.radius), exponent);
        if (record.facing == 1) {
            const miVector normal =
                map_read::Field(point, record.normalField, miVector{0.0F, 0.0F, 0.0F});
            const float towards = -mi_vector_dot(&state->normal, &normal);
            if (towards < 0.0F) continue;
            weight.Multiply(towards);
        }
        if (record.useOpacity != miFALSE) {
            const float opacity = map_read::Field(point, record.opacityField, kOpaque);
            if (opacity != kOpaque) weight.Multiply(opacity);
        }
        ++blended;
        sum.r += weight.r * color.x;
        sum.g += weight.g * color.y;
        sum.b += weight.b * color.z;
    }
    // No guard for a count of 0: channels that are not numbers show that every point was skipped.
    const auto count = static_cast<float>(blended);
    result->outColor.r = gain.r / count * sum.r;
    result->outColor.g = gain.g / count * sum.g;
    result->outColor.b = gain.b / count * sum.b;
    result->pointCount = map_read::Size(lookup);
    return miTRUE;
}
