// One named particle attribute: its values in memory and its record in a PDC file.
#pragma once

#include "src/points/vector_d.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// The type of an attribute's values. A slot without a name has kind 0.
constexpr std::int32_t kKindNone = 0;
constexpr std::int32_t kKindFloat = 1;
constexpr std::int32_t kKindInteger = 2;
constexpr std::int32_t kKindVector = 3;

class CAttribute {
  public:
    // No name, kind 0, single-valued, and one zero element in each of the three arrays.
    CAttribute();

    // Writes the whole record: name length, name, type code, data. Floats and integers are written
    // as doubles (code 2, or 3 per particle), vectors as three doubles (code 4 or 5); kind 0 has
    // neither code nor data. A single-valued attribute writes element 0; a per-particle attribute
    // writes all elements of its array, whatever particle count a header holds. Always returns
    // true; callers that care about short writes must check ferror().
    bool FWrite(std::FILE* file) const;

    // Reads the data of a record, without its name and code, into the existing elements: element 0
    // if single-valued (added if the array is empty), otherwise every element. intAsInt32 states
    // how the file stores integers: as int32, or as doubles, which are truncated toward zero.
    // Returns false for a null stream or a short read; values that were read before it are kept.
    // Kind 0 reads nothing and returns true.
    bool FRead(std::FILE* file, bool intAsInt32);

    // Cuts or grows the array of the attribute's kind to n elements (0 if n is negative). New
    // elements are zero. May throw std::bad_alloc.
    void Resize(int n);

    std::string name;
    bool perParticle;
    std::int32_t kind;
    std::vector<float> floats;
    std::vector<std::int64_t> integers;
    std::vector<CVectorD> vectors;
};

// Truncates toward zero. NaN and values outside the range of int64 give the smallest int64, as the
// x86-64 conversion instruction does.
std::int64_t TruncateToInt64(double value);
