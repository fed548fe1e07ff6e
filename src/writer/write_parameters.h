// The parameter block of vx_pc_write.
#pragma once

#include "src/platform/renderer.h"

#include <cstddef>

// Values of outputMode. Others bake without writing files.
constexpr int kOutputMap = 0;
constexpr int kOutputPdc = 1;
constexpr int kOutputBoth = 2;
constexpr int kOutputConvert = 3; // no bake: converts a PDC file to a map file

// In the order of the declaration. Strings are tags of string elements, or 0.
struct WriteParameters {
    miBoolean disable; // 1: only casts eye rays; other values do not disable
    miBoolean jitter;  // off: one sample at the center of each pixel
    miInteger samples; // per pixel, with jitter on; at least 1
    miInteger layers;  // most surfaces probed per ray, most points per row of the grid
    miBoolean useLabels;
    miTag labels; // label list of the tags to bake; not read without useLabels
    miTag pdcFileName;
    miTag mapFileName;
    miInteger outputMode;
    miInteger frame;
    miScalar radius; // of all particles, world units
};
static_assert(sizeof(WriteParameters) == 44 && offsetof(WriteParameters, labels) == 20 &&
                  offsetof(WriteParameters, outputMode) == 32 &&
                  offsetof(WriteParameters, radius) == 40,
              "eleven members of four bytes");
