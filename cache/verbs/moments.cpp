#include "cache/verbs/moments.h"

#include <algorithm>
#include <cmath>
#include <limits>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace vx::cache {

namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr double kLargest = std::numeric_limits<double>::max();

void add_value(Moments& m, double v) {
    if (!(std::abs(v) <= kLargest)) return;
    m.least = v < m.least ? v : m.least;
    m.most = v > m.most ? v : m.most;
    m.sum += v;
    ++m.finite;
}

std::size_t lanes_of(std::size_t width) {
    return width == 1 || width == 2 ? 16 : width == 3 || width == 4 ? 4 * width : width;
}

#ifdef __x86_64__
// Accumulates all complete rows of V vectors. Returns the number of values consumed.
template <std::size_t V>
__attribute__((target("avx2"))) std::size_t add_rows(Moments* lanes, const double* values,
                                                     std::size_t count) {
    const __m256d magnitude = _mm256_castsi256_pd(_mm256_set1_epi64x(INT64_MAX));
    const __m256d limit = _mm256_set1_pd(kLargest);
    __m256d least[V];
    __m256d most[V];
    __m256d sum[V];
    std::int64_t rows = 0; // with finite values only
    for (std::size_t j = 0; j < V; ++j) {
        const Moments* m = lanes + 4 * j;
        least[j] = _mm256_set_pd(m[3].least, m[2].least, m[1].least, m[0].least);
        most[j] = _mm256_set_pd(m[3].most, m[2].most, m[1].most, m[0].most);
        sum[j] = _mm256_set_pd(m[3].sum, m[2].sum, m[1].sum, m[0].sum);
    }
    std::size_t at = 0;
    for (; at + 4 * V <= count; at += 4 * V) {
        __m256d x[V];
        __m256d finite = _mm256_cmp_pd(limit, limit, _CMP_EQ_OQ);
        for (std::size_t j = 0; j < V; ++j) {
            x[j] = _mm256_loadu_pd(values + at + 4 * j);
            finite = _mm256_and_pd(
                finite, _mm256_cmp_pd(_mm256_and_pd(x[j], magnitude), limit, _CMP_LE_OQ));
        }
        if (_mm256_movemask_pd(finite) == 15) {
            ++rows;
            for (std::size_t j = 0; j < V; ++j) {
                least[j] = _mm256_min_pd(x[j], least[j]);
                most[j] = _mm256_max_pd(x[j], most[j]);
                sum[j] = _mm256_add_pd(sum[j], x[j]);
            }
            continue;
        }
        for (std::size_t j = 0; j < V; ++j) {
            const __m256d good = _mm256_cmp_pd(_mm256_and_pd(x[j], magnitude), limit, _CMP_LE_OQ);
            least[j] = _mm256_min_pd(_mm256_blendv_pd(least[j], x[j], good), least[j]);
            most[j] = _mm256_max_pd(_mm256_blendv_pd(most[j], x[j], good), most[j]);
            sum[j] = _mm256_add_pd(sum[j], _mm256_and_pd(x[j], good));
            const int mask = _mm256_movemask_pd(good);
            for (int k = 0; k < 4; ++k)
                lanes[4 * j + static_cast<std::size_t>(k)].finite += mask >> k & 1;
        }
    }
    for (std::size_t j = 0; j < V; ++j) {
        double a[4];
        double b[4];
        double c[4];
        _mm256_storeu_pd(a, least[j]);
        _mm256_storeu_pd(b, most[j]);
        _mm256_storeu_pd(c, sum[j]);
        for (std::size_t k = 0; k < 4; ++k) {
            Moments& m = lanes[4 * j + k];
            m = {a[k], b[k], c[k], m.finite + rows};
        }
    }
    return at;
}
#endif

} // namespace

Accumulator::Accumulator(std::size_t width)
    : m_width(width), m_lanes(lanes_of(width), Moments{kInfinite, -kInfinite, 0, 0}) {}

void Accumulator::add(const double* values, std::size_t points) {
    const std::size_t count = points * m_width;
    std::size_t at = 0;
#ifdef __x86_64__
    static const bool kVectors = __builtin_cpu_supports("avx2") != 0;
    if (kVectors && m_lanes.size() == 16) {
        at = add_rows<4>(m_lanes.data(), values, count);
    } else if (kVectors && m_lanes.size() == 12) {
        at = add_rows<3>(m_lanes.data(), values, count);
    }
#endif
    for (std::size_t lane = 0; at < count; ++at) {
        add_value(m_lanes[lane], values[at]);
        if (++lane == m_lanes.size()) lane = 0;
    }
}

std::vector<Moments> Accumulator::result() const {
    std::vector<Moments> out(m_width, Moments{kInfinite, -kInfinite, 0, 0});
    for (std::size_t i = 0; i < m_lanes.size(); ++i) {
        const Moments& lane = m_lanes[i];
        Moments& m = out[i % m_width];
        m.least = std::min(m.least, lane.least);
        m.most = std::max(m.most, lane.most);
        m.sum += lane.sum;
        m.finite += lane.finite;
    }
    return out;
}

} // namespace vx::cache
