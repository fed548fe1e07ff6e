// The weights of the points in a blend. Inline, since they are computed once per point and call.
#pragma once

#include "src/platform/map_read.h"
#include "src/platform/renderer.h"
#include "src/platform/vector.h"
#include "src/reader/instance_data.h"

#include <cmath>

// 1 at the query point, 0 at the radius and beyond, one minus the smoothstep in between.
inline float Falloff(float distance, float radius) {
    if (!(distance > 0.0f)) return 1.0f;
    if (distance >= radius) return 0.0f;
    const float t = distance / radius;
    return 1.0f - (t * t * -2.0f * t + t * t * 3.0f);
}

// The weights of the three channels. One set serves all points of a call, in the order of the
// results, since a weight may carry over to the next point.
struct CWeights {
    float r = 1.0f, g = 1.0f, b = 1.0f;

    // Computes the weights of `point`. Returns false if it faces away and is left out of the mean.
    bool Weigh(const mi::shader_v3::Map_lookup_base& point, float squaredDistance,
               const miVector& surfaceNormal, const miColor& exponent,
               const ReadInstanceData& record) {
        Set(Falloff(sqrtf(squaredDistance), record.radius), exponent);
        if (record.facing == 1) {
            const miVector normal =
                map_read::Field(point, record.normalField, miVector{0.0f, 0.0f, 0.0f});
            const float towards = -Dot(surfaceNormal, normal);
            if (towards < 0.0f) return false;
            Multiply(towards);
        }
        if (record.useOpacity != miFALSE) {
            constexpr float kOpaque = 1.0f;
            const float opacity = map_read::Field(point, record.opacityField, kOpaque);
            if (opacity != kOpaque) Multiply(opacity);
        }
        return true;
    }

    // A channel whose exponent is 0 keeps its weight, including the facing and opacity factors of
    // earlier points. Green and blue are both compared with red, blue never with green.
    void Set(float falloff, const miColor& exponent) {
        if (exponent.r != 0.0f) r = powf(falloff, exponent.r);
        if (exponent.g == exponent.r)
            g = r;
        else if (exponent.g != 0.0f)
            g = powf(falloff, exponent.g);
        if (exponent.b == exponent.r)
            b = r;
        else if (exponent.b != 0.0f)
            b = powf(falloff, exponent.b);
    }
    void Multiply(float factor) {
        r *= factor;
        g *= factor;
        b *= factor;
    }
};
