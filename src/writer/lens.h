// The life of a writer's instance: made at its init, baking once, gone at its exit.
#pragma once

#include "src/platform/renderer.h"

struct WriteParameters;

// Makes the record and stores it in the instance's user pointer. Throws what its construction
// throws; the user pointer is untouched then.
void InitWriteInstance(miState* state, WriteParameters* params);

// Releases the record, if there is one. The user pointer itself stays as it is.
void ExitWriteInstance(miState* state);

// Every call passes the eye ray on as it is and returns what that returns. The first call of each
// thread takes the record's lock; the first of all of them bakes, or converts, before it gives the
// lock back, while the others wait for it. If the image has more samples than a grid counts, there
// is one warning and no bake. Without a record: false, and nothing is traced. An exception from an
// allocation passes through, with the lock held.
miBoolean WriteLens(miColor* result, miState* state);
