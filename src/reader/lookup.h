// One call of the reader: the baked points near the shading point, blended.
#ifndef VX_SRC_READER_LOOKUP_H
#define VX_SRC_READER_LOOKUP_H

#include "src/platform/renderer.h"
#include "src/reader/instance_data.h"

// Fills `result` for the point, normal and ray of `state`: the weighted mean of the colours of at
// most maxPoints points, times `scale`, and the number of points that were found.
//
// miTRUE and black for a disabled record and when nothing is near; miFALSE and black when there is
// no map. Not-a-number channels when every point that was found faces the wrong way: the mean has
// no guard. Says nothing, locks nothing; `record` is only read.
miBoolean ReadPoints(ReadResult* result, miState* state, ReadParameters* params,
                     const ReadInstanceData& record);

#endif
