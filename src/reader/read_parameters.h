// The parameter block and the result of vx_pc_read, in the order of its declaration.
#pragma once

#include "src/platform/renderer.h"

#include <cstddef>

struct ReadParameters {
    miBoolean disable;    // non-zero: no map is loaded, every call returns black
    miTag fileName;       // string: name of the map file of any frame
    miInteger frame;      // the frame whose map is loaded
    miScalar radius;      // of the search, in world units
    miInteger maxPoints;  // upper limit of the points that one call blends
    miBoolean useLabels;  // non-zero: only points whose label is in `labels`
    miTag labels;         // string: a label list; read only with useLabels
    miInteger facing;     // exactly 1: only points in front of the surface, weighted by facing
    miScalar minAngle;    // limits of the angle between the normals of surface and point,
    miScalar maxAngle;    // in degrees; evaluated on every call
    miColor falloff;      // exponent of the distance weight per channel; evaluated on every call
    miColor scale;        // gain per channel; evaluated on every call
    miBoolean useOpacity; // non-zero: weights are multiplied by the points' opacity
};
static_assert(offsetof(ReadParameters, falloff) == 40 &&
                  offsetof(ReadParameters, useOpacity) == 72 && sizeof(ReadParameters) == 76,
              "thirteen parameters without gaps");

struct ReadResult {
    miColor outColor; // alpha is always 0
    miInteger pointCount;
};
static_assert(sizeof(ReadResult) == 20, "a color and an integer");
