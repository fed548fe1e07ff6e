// The search for machines with AVX2.
#include <cstdint>
#include <immintrin.h>

#define VX_TARGET __attribute__((target("avx2")))
#define VX_INLINE __attribute__((target("avx2"), always_inline)) inline

namespace vx::maps::kernel {
namespace {

struct Vector {
    template <unsigned D>
    static VX_INLINE unsigned node(const float* node, const float* q, float far, float* near) {
        __m256 sum = _mm256_setzero_ps();
        for (unsigned a = 0; a < D; ++a) {
            const __m256 p = _mm256_set1_ps(q[a]);
            const __m256 below = _mm256_sub_ps(_mm256_load_ps(node + a * 16), p);
            const __m256 above = _mm256_sub_ps(p, _mm256_load_ps(node + a * 16 + 8));
            // max returns its second operand if one is not a number: the axis contributes 0.
            const __m256 outside = _mm256_max_ps(_mm256_max_ps(below, above), _mm256_setzero_ps());
            sum = _mm256_add_ps(sum, _mm256_mul_ps(outside, outside));
        }
        _mm256_store_ps(near, sum);
        return static_cast<unsigned>(
            _mm256_movemask_ps(_mm256_cmp_ps(sum, _mm256_set1_ps(far), _CMP_NGT_UQ)));
    }
    template <unsigned D>
    static VX_INLINE unsigned leaf(const float* leaf, const float* q, float far, float* near) {
        unsigned mask = 0;
        for (unsigned half = 0; half < 2; ++half) {
            __m256 sum = _mm256_setzero_ps();
            for (unsigned a = 0; a < D; ++a) {
                const __m256 d =
                    _mm256_sub_ps(_mm256_load_ps(leaf + a * 16 + half * 8), _mm256_set1_ps(q[a]));
                sum = _mm256_add_ps(sum, _mm256_mul_ps(d, d));
            }
            _mm256_store_ps(near + half * 8, sum);
            const int nearer =
                _mm256_movemask_ps(_mm256_cmp_ps(sum, _mm256_set1_ps(far), _CMP_NGT_UQ));
            mask |= static_cast<unsigned>(nearer) << (half * 8);
        }
        return mask;
    }
    static VX_INLINE void replace(float* distances, unsigned place, float distance) {
        float* const part = distances + place / 8 * 8;
        const __m256i lane = _mm256_set1_epi32(static_cast<int>(place % 8));
        const __m256i here = _mm256_cmpeq_epi32(lane, _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
        _mm256_store_ps(part, _mm256_blendv_ps(_mm256_load_ps(part), _mm256_set1_ps(distance),
                                               _mm256_castsi256_ps(here)));
    }
    static VX_INLINE std::uint64_t farthest(const float* distances, unsigned chunks) {
        __m256 most = _mm256_load_ps(distances);
        for (unsigned i = 1; i < chunks * 2; ++i) {
            most = _mm256_max_ps(most, _mm256_load_ps(distances + i * 8));
        }
        most = _mm256_max_ps(most, _mm256_permute2f128_ps(most, most, 1));
        most = _mm256_max_ps(most, _mm256_permute_ps(most, 0x4e));
        most = _mm256_max_ps(most, _mm256_permute_ps(most, 0xb1));
        std::uint64_t mask = 0;
        for (unsigned i = 0; i < chunks * 2; ++i) {
            const __m256 equal = _mm256_cmp_ps(_mm256_load_ps(distances + i * 8), most, _CMP_EQ_OQ);
            mask |= static_cast<std::uint64_t>(_mm256_movemask_ps(equal)) << (i * 8);
        }
        return mask;
    }
    static VX_INLINE std::uint64_t nearer(const float* distances, unsigned chunks, float distance) {
        const __m256 all = _mm256_set1_ps(distance);
        std::uint64_t mask = 0;
        for (unsigned i = 0; i < chunks * 2; ++i) {
            const __m256 less = _mm256_cmp_ps(_mm256_load_ps(distances + i * 8), all, _CMP_LT_OQ);
            mask |= static_cast<std::uint64_t>(_mm256_movemask_ps(less)) << (i * 8);
        }
        return mask;
    }
    static VX_INLINE void visit_keys(const float* near, std::int32_t* keys) {
        // The last three bits number the places, so that all keys differ.
        const __m256i bits = _mm256_castps_si256(_mm256_load_ps(near));
        const __m256i rounded = _mm256_andnot_si256(_mm256_set1_epi32(7), bits);
        _mm256_store_si256(reinterpret_cast<__m256i*>(keys),
                           _mm256_or_si256(rounded, _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)));
    }
    static VX_INLINE unsigned greater(const std::int32_t* keys, std::int32_t key) {
        const __m256i all = _mm256_load_si256(reinterpret_cast<const __m256i*>(keys));
        const __m256i more = _mm256_cmpgt_epi32(all, _mm256_set1_epi32(key));
        return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(more)));
    }
};

} // namespace
} // namespace vx::maps::kernel

#include "maps/search_walk.h"

namespace vx::maps {

Search detail::avx2_search(unsigned dimension) {
    return kernel::pick(dimension);
}

} // namespace vx::maps
