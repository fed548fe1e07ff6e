// One named particle attribute: its values in memory and its record in a PDC file.
#ifndef VX_POINTS_ATTRIBUTE_H
#define VX_POINTS_ATTRIBUTE_H

#include "src/points/vector_d.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// What an attribute's values are. Kind 0 belongs to a slot without a name.
constexpr std::int32_t kKindNone = 0;
constexpr std::int32_t kKindFloat = 1;
constexpr std::int32_t kKindInteger = 2;
constexpr std::int32_t kKindVector = 3;

class CAttribute {
  public:
    // No name, one value for all, kind 0, and one zero element in each of the three arrays.
    CAttribute();

    // Writes the whole record: name length, name, type code, data. Floats and integers go out as
    // doubles (code 2, or 3 per particle), vectors as three doubles (code 4 or 5); kind 0 has
    // neither code nor data. A single-valued attribute writes element 0; a per-particle one writes
    // what its array holds, whatever count a header gives. Always true: short writes stay in
    // ferror().
    bool FWrite(std::FILE* file) const;

    // Reads the data alone, into the elements that the array has: element 0 when single-valued
    // (made when the array is empty), otherwise all. intAsInt32 tells how the file holds integers:
    // int32, or double, which is truncated toward zero. False on a null stream or a short read; the
    // values before it stay stored. Kind 0 reads nothing and is true.
    bool FRead(std::FILE* file, bool intAsInt32);

    // Resize(n) and FRead in one, for data whose length is a file's own claim: memory is asked for
    // block by block as values arrive. `backed` says that the stream is known to hold all of them,
    // so that the memory may be asked for in one piece. False as FRead; may throw std::bad_alloc.
    bool ReadParticles(std::FILE* file, bool intAsInt32, int n, bool backed);

    // Cuts or grows the array of the attribute's kind to n elements (none below 0); new elements
    // are 0, a meaning that only float and integer users may rely on. May throw std::bad_alloc.
    void Resize(int n);

    std::string name;
    bool perParticle;
    std::int32_t kind;
    std::vector<float> floats;
    std::vector<std::int64_t> integers;
    std::vector<CVectorD> vectors;
};

// Truncation toward zero of any double. Not-a-number and values outside the range give the smallest
// int64, which is what the processor's own conversion gives.
std::int64_t TruncateToInt64(double value);

#endif
