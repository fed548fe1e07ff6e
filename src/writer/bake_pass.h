// The pass that fills the grid.
#pragma once

#include "src/platform/renderer.h"

class WriteInstanceData;

// Samples the whole image of the state's camera, line by line, pixel by pixel, sample by sample;
// probes each sample's ray through up to `layers` surfaces (at least one), shades each that carries
// an accepted tag while the shader state "vx_pc" is 1, and appends the points to the grid, row k
// for the k-th sample. Reports its progress and the number of points shaded, which counts those
// that found their row full as well. The camera is taken for a perspective one without window or
// offset.
//
// `state` is that of a lens shader; org, point, pri and cache are afterwards what they were. To be
// called with the record's lock held.
void BakePass(miState* state, WriteInstanceData* data);
