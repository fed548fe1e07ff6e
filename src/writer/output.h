// Output files of a bake.
#pragma once

class WriteInstanceData;

// Both functions are called once per record, with its lock held. A failure is reported as a
// warning; the other file is written nevertheless.

// Creates the record's cache from its grid and writes the files that outputMode selects, the PDC
// file first.
void WriteOutput(WriteInstanceData* data);

// Converts the PDC file of the frame to a map file.
void ConvertOutput(WriteInstanceData* data);
