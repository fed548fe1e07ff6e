// The parameter block of vx_pc_write.
#pragma once

#include "src/platform/renderer.h"

#include <cstddef>

// What outputMode says; every other value bakes and writes nothing.
constexpr int kOutputMap = 0;
constexpr int kOutputPdc = 1;
constexpr int kOutputBoth = 2;
constexpr int kOutputConvert = 3; // no bake: an existing PDC file becomes a map file

// As the declaration orders it. Strings are tags of string elements, 0 when there is none.
struct WriteParameters {
    miBoolean disable; // exactly 1: eye rays pass, nothing is baked
    miBoolean jitter;  // off: one sample in the middle of each pixel
    miInteger samples; // per pixel, with jitter on; at least 1
    miInteger layers;  // surfaces probed along each ray, and the most points that one ray keeps
    miBoolean useLabels;
    miTag labels; // label list of the tags to be baked; read with useLabels on
    miTag pdcFileName;
    miTag mapFileName;
    miInteger outputMode;
    miInteger frame;
    miScalar radius; // world units; every particle gets it
};
static_assert(sizeof(WriteParameters) == 44 && offsetof(WriteParameters, labels) == 20 &&
                  offsetof(WriteParameters, outputMode) == 32 &&
                  offsetof(WriteParameters, radius) == 40,
              "eleven members of four bytes");
