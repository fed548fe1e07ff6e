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

// NaN if there is no finite value.
struct Range {
    double least = 0;
    double most = 0;
    double mean = 0;         // from sums over pieces of the file, added in order
    std::int64_t finite = 0; // number of finite values
    std::int64_t total = 0;
};

struct Statistics {
    std::vector<std::vector<Range>> ranges; // per attribute and component
    std::map<std::int64_t, std::int64_t> labels;
    bool many_labels = false; // more labels than are counted
    Spacing spacing;
};

using Progress = std::function<void(std::int64_t, std::int64_t)>;

// Throws FileError.
Statistics measure(Cloud& cloud, const Progress& progress);

} // namespace vx::cache
