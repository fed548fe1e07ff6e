#include "maps/verify.h"

#include "maps/testing.h"

#include <algorithm>
#include <atomic>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

namespace vx::maps {

namespace {

std::atomic<std::uint64_t> size_limit{kVerifiedBytes};

// Whether `good(begin, end)` holds for all parts of a body's rows.
template <class Good>
bool all_rows(const Body& body, const Good& good) {
    constexpr std::uint64_t kGrain = 65536;
    std::atomic<bool> all{true};
    tbb::parallel_for(tbb::blocked_range<std::uint64_t>(0, body.shape.count, kGrain),
                      [&](const tbb::blocked_range<std::uint64_t>& range) {
                          if (!good(range.begin(), range.end())) all = false;
                      });
    return all;
}

// Has no branch in its loop, so that it is compiled to vector instructions.
bool all_below(const std::uint32_t* begin, const std::uint32_t* end, std::uint32_t limit) {
    std::uint32_t above = 0;
    for (; begin != end; ++begin)
        above |= *begin < limit ? 0u : 1u;
    return above == 0;
}

} // namespace

void set_verified_size(std::uint64_t bytes) {
    size_limit = bytes;
}

std::uint64_t verified_size() {
    return size_limit;
}

bool rows_are_in_range(const Body& body) {
    const auto count = static_cast<std::uint32_t>(body.shape.count);
    return all_rows(body, [&](std::uint64_t begin, std::uint64_t end) {
        return all_below(body.order() + begin, body.order() + end, count) &&
               all_below(body.rank() + begin, body.rank() + end, count);
    });
}

bool rows_are_inverse(const Body& body) {
    const std::uint32_t* const order = body.order();
    const std::uint32_t* const rank = body.rank();
    const auto count = static_cast<std::uint32_t>(body.shape.count);
    return all_rows(body, [&](std::uint64_t begin, std::uint64_t end) {
        bool good = true;
        for (std::uint64_t row = begin; row != end; ++row) {
            const std::uint32_t index = order[row];
            good = good && index < count && rank[index] == row;
        }
        return good;
    });
}

} // namespace vx::maps
