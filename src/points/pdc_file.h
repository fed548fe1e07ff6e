// Whole PDC files: writing a cache and loading one.
#ifndef VX_POINTS_PDC_FILE_H
#define VX_POINTS_PDC_FILE_H

#include "src/points/pdc.h"
#include "src/points/pdc_walk.h"

#include <cstdio>

// Writes the header as the cache holds it and then, in slot order, the record of every slot that
// has a name. The header's counts are not recounted. The stream was opened "wb" and stays the
// caller's; short writes are not detected here, ferror() and fclose() tell who wants to know.
void WritePdc(std::FILE* file, const CPdc& pdc);

// What became of a load: None on success.
class CPdcLoadResult {
  public:
    PdcError error;
    std::int64_t offset; // of the offending item, from where the stream stood
};

// Fills a fresh cache from a stream opened "rb", which stays the caller's. Names the baked slots,
// reads the header and then as many records as it counts: a record goes to the first slot that has
// its exact name and a kind that fits its code (0, 1: integer; 2, 3: float or integer; 4, 5:
// vector), any other record is skipped. Fewer than one attribute is a success. Magic, version and
// byte order are not checked, trailing bytes are not looked at.
//
// True: read through the last record. A last record that is skipped may lie past the end. False:
// the file is short, counts what it cannot hold, or refuses to seek; the cache is half filled and
// fit only to be deleted. Memory is asked for only for values that the file holds. Prints and
// throws nothing. `result`, when given, tells why.
bool LoadPdc(std::FILE* file, CPdc& pdc, CPdcLoadResult* result = nullptr) noexcept;

#endif
