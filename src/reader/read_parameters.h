// The parameter block and the result of vx_pc_read, as its declaration orders them.
#ifndef VX_SRC_READER_READ_PARAMETERS_H
#define VX_SRC_READER_READ_PARAMETERS_H

#include "src/platform/renderer.h"

#include <cstddef>

struct ReadParameters {
    miBoolean disable;    // non-zero: nothing is loaded, every call is black
    miTag fileName;       // string: sample name of the map files
    miInteger frame;      // which frame's file is loaded
    miScalar radius;      // of the search, world units
    miInteger maxPoints;  // most points that one call blends
    miBoolean useLabels;  // non-zero: only points whose label is in `labels`
    miTag labels;         // string: a label list; read only with useLabels
    miInteger facing;     // exactly 1: only points before the surface, weighted by how they face it
    miScalar minAngle;    // degrees between the surface's normal and a point's, every call
    miScalar maxAngle;    // the same
    miColor falloff;      // exponent of the distance weight of each channel, every call
    miColor scale;        // gain of each channel, every call
    miBoolean useOpacity; // non-zero: a point weighs as much as it is opaque
};
static_assert(offsetof(ReadParameters, falloff) == 40 &&
                  offsetof(ReadParameters, useOpacity) == 72 && sizeof(ReadParameters) == 76,
              "thirteen parameters without gaps");

struct ReadResult {
    miColor outColor; // alpha is always 0
    miInteger pointCount;
};
static_assert(sizeof(ReadResult) == 20, "a colour and an integer");

#endif
