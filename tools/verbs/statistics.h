// One walk over a cloud: ranges, means, labels, and the distances between neighbours.
#pragma once

#include "tools/cloud/cloud.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace vx::cache {

struct Range {
    double least = 0;
    double most = 0;
    double mean = 0;
    std::int64_t finite = 0; // values that the three are taken from
    std::int64_t total = 0;
};

struct Spacing {
    std::int64_t samples = 0; // points whose nearest neighbour was looked for; 0: no figures
    double median = 0;
    double most = 0;
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
