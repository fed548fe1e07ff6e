// The search for all x86-64 machines.
#include <cstdint>
#include <emmintrin.h>

#define VX_TARGET
#define VX_INLINE inline __attribute__((always_inline))

namespace vx::maps::kernel {
namespace {

struct Vector {
    template <unsigned D>
    static VX_INLINE unsigned node(const float* node, const float* q, float far, float* near) {
        unsigned mask = 0;
        for (unsigned half = 0; half < 2; ++half) {
            __m128 sum = _mm_setzero_ps();
            for (unsigned a = 0; a < D; ++a) {
                const __m128 p = _mm_set1_ps(q[a]);
                const __m128 below = _mm_sub_ps(_mm_load_ps(node + a * 16 + half * 4), p);
                const __m128 above = _mm_sub_ps(p, _mm_load_ps(node + a * 16 + 8 + half * 4));
                // max returns its second operand if one is not a number: the axis contributes 0.
                const __m128 outside = _mm_max_ps(_mm_max_ps(below, above), _mm_setzero_ps());
                sum = _mm_add_ps(sum, _mm_mul_ps(outside, outside));
            }
            _mm_store_ps(near + half * 4, sum);
            const int nearer = _mm_movemask_ps(_mm_cmpngt_ps(sum, _mm_set1_ps(far)));
            mask |= static_cast<unsigned>(nearer) << (half * 4);
        }
        return mask;
    }
    template <unsigned D>
    static VX_INLINE unsigned leaf(const float* leaf, const float* q, float far, float* near) {
        unsigned mask = 0;
        for (unsigned part = 0; part < 4; ++part) {
            __m128 sum = _mm_setzero_ps();
            for (unsigned a = 0; a < D; ++a) {
                const __m128 d =
                    _mm_sub_ps(_mm_load_ps(leaf + a * 16 + part * 4), _mm_set1_ps(q[a]));
                sum = _mm_add_ps(sum, _mm_mul_ps(d, d));
            }
            _mm_store_ps(near + part * 4, sum);
            const int nearer = _mm_movemask_ps(_mm_cmpngt_ps(sum, _mm_set1_ps(far)));
            mask |= static_cast<unsigned>(nearer) << (part * 4);
        }
        return mask;
    }
    static VX_INLINE void replace(float* distances, unsigned place, float distance) {
        float* const part = distances + place / 4 * 4;
        const __m128i lane = _mm_set1_epi32(static_cast<int>(place % 4));
        const __m128 here = _mm_castsi128_ps(_mm_cmpeq_epi32(lane, _mm_setr_epi32(0, 1, 2, 3)));
        const __m128 others = _mm_andnot_ps(here, _mm_load_ps(part));
        _mm_store_ps(part, _mm_or_ps(others, _mm_and_ps(here, _mm_set1_ps(distance))));
    }
    static VX_INLINE std::uint64_t farthest(const float* distances, unsigned chunks) {
        __m128 most = _mm_load_ps(distances);
        for (unsigned i = 1; i < chunks * 4; ++i) {
            most = _mm_max_ps(most, _mm_load_ps(distances + i * 4));
        }
        most = _mm_max_ps(most, _mm_movehl_ps(most, most));
        most = _mm_max_ss(most, _mm_shuffle_ps(most, most, 1));
        most = _mm_shuffle_ps(most, most, 0);
        std::uint64_t mask = 0;
        for (unsigned i = 0; i < chunks * 4; ++i) {
            const __m128 equal = _mm_cmpeq_ps(_mm_load_ps(distances + i * 4), most);
            mask |= static_cast<std::uint64_t>(_mm_movemask_ps(equal)) << (i * 4);
        }
        return mask;
    }
    static VX_INLINE std::uint64_t nearer(const float* distances, unsigned chunks, float distance) {
        const __m128 all = _mm_set1_ps(distance);
        std::uint64_t mask = 0;
        for (unsigned i = 0; i < chunks * 4; ++i) {
            const __m128 less = _mm_cmplt_ps(_mm_load_ps(distances + i * 4), all);
            mask |= static_cast<std::uint64_t>(_mm_movemask_ps(less)) << (i * 4);
        }
        return mask;
    }
    static VX_INLINE void visit_keys(const float* near, std::int32_t* keys) {
        // The last three bits number the places, so that all keys differ.
        __m128i place = _mm_setr_epi32(0, 1, 2, 3);
        for (unsigned half = 0; half < 2; ++half) {
            const __m128i bits = _mm_castps_si128(_mm_load_ps(near + half * 4));
            const __m128i rounded = _mm_andnot_si128(_mm_set1_epi32(7), bits);
            _mm_store_si128(reinterpret_cast<__m128i*>(keys + half * 4),
                            _mm_or_si128(rounded, place));
            place = _mm_add_epi32(place, _mm_set1_epi32(4));
        }
    }
    static VX_INLINE unsigned greater(const std::int32_t* keys, std::int32_t key) {
        unsigned mask = 0;
        for (unsigned half = 0; half < 2; ++half) {
            const auto* const part = reinterpret_cast<const __m128i*>(keys + half * 4);
            const __m128i more = _mm_cmpgt_epi32(_mm_load_si128(part), _mm_set1_epi32(key));
            mask |= static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(more))) << (half * 4);
        }
        return mask;
    }
};

} // namespace
} // namespace vx::maps::kernel

#include "maps/search_walk.h"

namespace vx::maps {

Search detail::sse2_search(unsigned dimension) {
    return kernel::pick(dimension);
}

} // namespace vx::maps
