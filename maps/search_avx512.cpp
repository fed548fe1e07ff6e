// The search for machines with AVX-512: a leaf fits one vector.
#ifdef __GNUC__
// Some intrinsics of GCC start from a value that is uninitialized on purpose.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <cstdint>
#include <immintrin.h>

#define VX_TARGET __attribute__((target("avx2,avx512f,avx512vl")))
#define VX_INLINE __attribute__((target("avx2,avx512f,avx512vl"), always_inline)) inline

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
        return _mm256_cmp_ps_mask(sum, _mm256_set1_ps(far), _CMP_NGT_UQ);
    }
    template <unsigned D>
    static VX_INLINE unsigned leaf(const float* leaf, const float* q, float far, float* near) {
        __m512 sum = _mm512_setzero_ps();
        for (unsigned a = 0; a < D; ++a) {
            const __m512 d = _mm512_sub_ps(_mm512_load_ps(leaf + a * 16), _mm512_set1_ps(q[a]));
            sum = _mm512_add_ps(sum, _mm512_mul_ps(d, d));
        }
        _mm512_store_ps(near, sum);
        return _mm512_cmp_ps_mask(sum, _mm512_set1_ps(far), _CMP_NGT_UQ);
    }
    static VX_INLINE void replace(float* distances, unsigned place, float distance) {
        float* const part = distances + place / 16 * 16;
        const auto here = static_cast<__mmask16>(1u << place % 16);
        _mm512_store_ps(part,
                        _mm512_mask_mov_ps(_mm512_load_ps(part), here, _mm512_set1_ps(distance)));
    }
    static VX_INLINE std::uint64_t farthest(const float* distances, unsigned chunks) {
        __m512 all = _mm512_load_ps(distances);
        for (unsigned i = 1; i < chunks; ++i) {
            all = _mm512_max_ps(all, _mm512_load_ps(distances + i * 16));
        }
        __m256 most =
            _mm256_max_ps(_mm512_castps512_ps256(all),
                          _mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(all), 1)));
        most = _mm256_max_ps(most, _mm256_permute2f128_ps(most, most, 1));
        most = _mm256_max_ps(most, _mm256_permute_ps(most, 0x4e));
        most = _mm256_max_ps(most, _mm256_permute_ps(most, 0xb1));
        const __m512 everywhere = _mm512_broadcastss_ps(_mm256_castps256_ps128(most));
        std::uint64_t mask = 0;
        for (unsigned i = 0; i < chunks; ++i) {
            const __mmask16 equal =
                _mm512_cmp_ps_mask(_mm512_load_ps(distances + i * 16), everywhere, _CMP_EQ_OQ);
            mask |= std::uint64_t{equal} << (i * 16);
        }
        return mask;
    }
    static VX_INLINE std::uint64_t nearer(const float* distances, unsigned chunks, float distance) {
        const __m512 all = _mm512_set1_ps(distance);
        std::uint64_t mask = 0;
        for (unsigned i = 0; i < chunks; ++i) {
            const __mmask16 less =
                _mm512_cmp_ps_mask(_mm512_load_ps(distances + i * 16), all, _CMP_LT_OQ);
            mask |= std::uint64_t{less} << (i * 16);
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
        return _mm256_cmpgt_epi32_mask(all, _mm256_set1_epi32(key));
    }
};

} // namespace
} // namespace vx::maps::kernel

#include "maps/search_walk.h"

namespace vx::maps {

Search detail::avx512_search(unsigned dimension) {
    return kernel::pick(dimension);
}

} // namespace vx::maps
