// Init, call and exit of a writer instance.
#pragma once

#include "src/platform/renderer.h"

struct WriteParameters;

// Creates the record and stores it in the instance's user pointer. Throws what the constructor of
// the record throws, and does not change the user pointer then.
void InitWriteInstance(miState* state, WriteParameters* params);

// Deletes the record, if there is one. Does not change the user pointer.
void ExitWriteInstance(miState* state);

// Casts the eye ray and returns its result. The first call of each thread takes the record's lock.
// The first of these calls bakes or converts before it releases the lock; the others wait. An image
// with more samples than a grid can count is not baked, with one warning. Without a record, returns
// miFALSE and traces nothing. Exceptions of allocations propagate, with the lock held.
miBoolean WriteLens(miColor* result, miState* state);
