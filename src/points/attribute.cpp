#include "src/points/attribute.h"

#include "src/points/big_endian.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

std::size_t HeldValues(const CAttribute& a) {
    switch (a.kind) {
    case kKindFloat:
        return a.floats.size();
    case kKindInteger:
        return a.integers.size();
    case kKindVector:
        return a.vectors.size();
    default:
        return 0;
    }
}

// Reads the first `count` values.
bool ReadValues(CAttribute& a, std::FILE* file, bool intAsInt32, std::size_t count) {
    switch (a.kind) {
    case kKindFloat: {
        float* const out = a.floats.data();
        return ReadBigEndian<double>(
            file, count, [out](std::size_t i, double v) { out[i] = static_cast<float>(v); });
    }
    case kKindInteger: {
        std::int64_t* const out = a.integers.data();
        if (intAsInt32) {
            return ReadBigEndian<std::int32_t>(
                file, count, [out](std::size_t i, std::int32_t v) { out[i] = v; });
        }
        return ReadBigEndian<double>(
            file, count, [out](std::size_t i, double v) { out[i] = TruncateToInt64(v); });
    }
    case kKindVector: {
        auto* const out = reinterpret_cast<unsigned char*>(a.vectors.data());
        return ReadBigEndian<double>(file, 3 * count, [out](std::size_t i, double v) {
            std::memcpy(out + i * sizeof v, &v, sizeof v);
        });
    }
    default:
        return true;
    }
}

} // namespace

std::int64_t TruncateToInt64(double value) {
    constexpr double kLimit = 9223372036854775808.0;
    if (std::fabs(value) < kLimit) return static_cast<std::int64_t>(value);
    return std::numeric_limits<std::int64_t>::min();
}

CAttribute::CAttribute()
    : perParticle(false),
      kind(kKindNone),
      floats(1, 0.0f),
      integers(1, 0),
      vectors(1, CVectorD{0.0, 0.0, 0.0}) {}

bool CAttribute::FWrite(std::FILE* file) const {
    WriteBigEndianInt(file, static_cast<std::int32_t>(name.size()));
    // Unlike all other writes, that of the name has no test for a null stream: callers never pass
    // one.
    if (!name.empty()) (void)std::fwrite(name.data(), 1, name.size(), file);

    switch (kind) {
    case kKindFloat: {
        WriteBigEndianInt(file, perParticle ? 3 : 2);
        const float first = floats.empty() ? 0.0f : floats.front();
        const float* const in = perParticle ? floats.data() : &first;
        WriteBigEndian<double>(file, perParticle ? floats.size() : 1,
                               [in](std::size_t i) { return static_cast<double>(in[i]); });
        break;
    }
    case kKindInteger: {
        WriteBigEndianInt(file, perParticle ? 3 : 2);
        const std::int64_t first = integers.empty() ? 0 : integers.front();
        const std::int64_t* const in = perParticle ? integers.data() : &first;
        WriteBigEndian<double>(file, perParticle ? integers.size() : 1,
                               [in](std::size_t i) { return static_cast<double>(in[i]); });
        break;
    }
    case kKindVector: {
        WriteBigEndianInt(file, perParticle ? 5 : 4);
        const CVectorD first = vectors.empty() ? CVectorD{0.0, 0.0, 0.0} : vectors.front();
        const auto* const in =
            reinterpret_cast<const unsigned char*>(perParticle ? vectors.data() : &first);
        WriteBigEndian<double>(file, 3 * (perParticle ? vectors.size() : 1), [in](std::size_t i) {
            double v;
            std::memcpy(&v, in + i * sizeof v, sizeof v);
            return v;
        });
        break;
    }
    default:
        break;
    }
    return true;
}

bool CAttribute::FRead(std::FILE* file, bool intAsInt32) {
    // An earlier per-particle record of no particles may have emptied the array.
    if (!perParticle && HeldValues(*this) == 0) Resize(1);
    return ReadValues(*this, file, intAsInt32, perParticle ? HeldValues(*this) : 1);
}

void CAttribute::Resize(int n) {
    const auto size = static_cast<std::size_t>(std::max(n, 0));
    if (kind == kKindFloat) floats.resize(size);
    if (kind == kKindInteger) integers.resize(size);
    if (kind == kKindVector) vectors.resize(size);
}
