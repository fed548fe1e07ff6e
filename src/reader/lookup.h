// The lookup of vx_pc_read: blends the baked points near a shading point.
#pragma once

#include "src/platform/renderer.h"
#include "src/reader/instance_data.h"

// Computes the weighted mean of the colors of at most maxPoints points near the point of `state`,
// times `scale`, and the number of points found.
//
// Returns miTRUE and black if the record is disabled or no point is found, miFALSE and black if it
// has no map. If every point found faces away, the channels are not-a-number: the mean has no guard
// against a count of 0. Takes no lock; `record` is only read.
miBoolean ReadPoints(ReadResult* result, miState* state, ReadParameters* params,
                     const ReadInstanceData& record);
