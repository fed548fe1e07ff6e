// Whole PDC files: writing a cache and loading one.
#pragma once

#include "src/points/pdc.h"
#include "src/points/pdc_walk.h"

#include <cstdio>

// Writes the header as the cache holds it and then, in slot order, the record of every slot that
// has a name. The header's counts are not recounted. The caller owns the stream, which was opened
// "wb". Callers that care about short writes must check ferror() and fclose().
void WritePdc(std::FILE* file, const CPdc& pdc);

// The outcome of a load.
class CPdcLoadResult {
  public:
    PdcError error;      // None on success
    std::int64_t offset; // of the offending item, from where the stream stood
};

// Fills a fresh cache from a stream opened "rb", which the caller owns. Names the baked slots,
// reads the header and then as many records as it counts. A record is read into the first slot that
// has exactly its name and a kind that fits its code (0, 1: integer; 2, 3: float or integer; 4, 5:
// vector); any other record is skipped. Magic, version and byte order are not checked, and trailing
// bytes are ignored.
//
// Returns true if the stream was read through its last record, or counts none. The data of a last
// record that is skipped may be missing. Returns false if the stream ends too early, counts more
// than it can hold, or cannot seek past a record; the cache is then incomplete and should be
// deleted. Memory is allocated only for data that the stream holds. Prints and throws nothing.
// `result` may be null.
bool LoadPdc(std::FILE* file, CPdc& pdc, CPdcLoadResult* result = nullptr) noexcept;
