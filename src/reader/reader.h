// The life of a reader's instance: made at its init, asked for every shading point, gone at its
// exit.
#ifndef VX_SRC_READER_READER_H
#define VX_SRC_READER_READER_H

#include "src/platform/renderer.h"
#include "src/reader/read_parameters.h"

// Makes the record, which loads the map, and stores it in the instance's user pointer. Throws what
// its construction throws; the user pointer is untouched then.
void InitReadInstance(miState* state, ReadParameters* params);

// Releases the record, if there is one. The user pointer itself stays as it is.
void ExitReadInstance(miState* state);

// What ReadPoints says. Without a record: miFALSE, and `result` is untouched.
miBoolean ReadCloud(ReadResult* result, miState* state, ReadParameters* params);

#endif
