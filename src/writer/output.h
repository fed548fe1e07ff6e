// What becomes of a bake: files for the record's frame.
#pragma once

class WriteInstanceData;

// Both are called once per record, with its lock held. Failures are reported with warnings and end
// only the branch in which they happen.

// Makes the record's cache from its grid and writes the files that outputMode asks for, the PDC
// file first.
void WriteOutput(WriteInstanceData* data);

// Makes the frame's map file from the frame's PDC file.
void ConvertOutput(WriteInstanceData* data);
