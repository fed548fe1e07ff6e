// The pass that fills the grid.
#pragma once

#include "src/platform/renderer.h"

class WriteInstanceData;

// Samples the image of the state's camera line by line, pixel by pixel, sample by sample. Probes
// the ray of each sample through up to `layers` surfaces (at least one), shades those with an
// accepted tag while the shader state "vx_pc" is 1, and appends the points to the grid, those of
// the k-th sample to row k. Reports the progress and the number of shaded points, including points
// that were dropped because their row was full. Treats the camera as a perspective camera without
// window or offset.
//
// `state` is the state of a lens shader; org, point, pri and cache are restored. The caller must
// hold the record's lock.
void BakePass(miState* state, WriteInstanceData* data);
