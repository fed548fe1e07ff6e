// The lifecycle of a vx_pc_read instance.
#pragma once

#include "src/platform/renderer.h"
#include "src/reader/read_parameters.h"

// Constructs the record, which loads the map, and stores it in the instance's user pointer. Throws
// what the constructor throws; the user pointer is unchanged then.
void InitReadInstance(miState* state, ReadParameters* params);

// Releases the record, if there is one. The user pointer is not reset.
void ExitReadInstance(miState* state);

// Returns what ReadPoints returns. Without a record, returns miFALSE and leaves `result` unchanged.
miBoolean ReadCloud(ReadResult* result, miState* state, ReadParameters* params);
