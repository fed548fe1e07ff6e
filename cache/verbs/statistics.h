// Ranges, means, labels, and the distances between neighbors. Uses several threads if the cloud can
// be read in parallel; the results do not depend on their number.
#pragma once

#include "cache/cloud/cloud.h"
#include "cache/verbs/spacing.h"

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace vx::cache {

// Not-a-number without a finite value.
struct Range {
    double least = 0;
    double most = 0;
    double mean = 0;         // of sums over pieces of the cloud, added in their order
    std::int64_t finite = 0; // values that the three are taken from
    std::int64_t total = 0;
};

struct Statistics {
    std::vector<std::vector<Range>> ranges; // per attribute and component
    std::map<std::int64_t, std::int64_t> labels;
    bool many_labels = false; // more than were counted apart
    Spacing spacing;
};

using Progress = std::function<void(std::int64_t, std::int64_t)>;

// Throws FileError.
Statistics measure(Cloud& cloud, const Progress& progress);

} // namespace vx::cache
