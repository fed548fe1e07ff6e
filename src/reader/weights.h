// How much a point that was found weighs in the blend. Inline: it runs once per point of every
// call.
#ifndef VX_SRC_READER_WEIGHTS_H
#define VX_SRC_READER_WEIGHTS_H

#include "src/platform/map_read.h"
#include "src/platform/renderer.h"
#include "src/platform/vector.h"
#include "src/reader/instance_data.h"

#include <cmath>

// 1 at the query point, 0 at the radius and beyond, smooth in between.
inline float Falloff(float distance, float radius) {
    if (!(distance > 0.0F)) return 1.0F;
    if (distance >= radius) return 0.0F;
    const float t = distance / radius;
    return 1.0F - (t * t * -2.0F * t + t * t * 3.0F);
}

// One set for all points of a call, in the order of the result: what a point leaves behind counts
// for the next.
struct CWeights {
    float r = 1.0F, g = 1.0F, b = 1.0F;

    // The weights of `point`; false when it faces the wrong way and is left out of the mean.
    bool Weigh(const mi::shader_v3::Map_lookup_base& point, float squared_distance,
               const miVector& surface_normal, const miColor& exponent,
               const ReadInstanceData& record) {
        Set(Falloff(sqrtf(squared_distance), record.radius), exponent);
        if (record.facing == 1) {
            const miVector normal =
                map_read::Field(point, record.normalField, miVector{0.0F, 0.0F, 0.0F});
            const float towards = -Dot(surface_normal, normal);
            if (towards < 0.0F) return false;
            Multiply(towards);
        }
        if (record.useOpacity != miFALSE) {
            constexpr float opaque = 1.0F;
            const float opacity = map_read::Field(point, record.opacityField, opaque);
            if (opacity != opaque) Multiply(opacity);
        }
        return true;
    }

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

#endif
