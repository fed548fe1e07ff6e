// What `lookup` shows of each shading point.
#pragma once

#include "cache/reader/probe.h"
#include "cache/verbs/sequence.h"

#include <string>
#include <vector>

namespace vx::cache {

struct LookupPoint {
    Float3 point{};
    Float3 normal{};
};

struct LookupOptions {
    std::vector<std::string> files;
    SequenceOptions sequence;
    std::vector<std::string> points;
    std::vector<std::string> normals;
    std::string queries;
    std::string direction;
    std::string falloff;
    std::string scale;
    ReaderSettings settings;

    // Whether the results depend on the normal.
    bool needs_normal() const {
        return settings.facing || settings.min_angle > 0 || settings.max_angle < 180;
    }
};

void print_lookup(const ReaderProbe& probe, const LookupOptions& o, const LookupPoint& q,
                  const Seen& seen);
Json describe_lookup(const ReaderProbe& probe, const LookupOptions& o, const LookupPoint& q,
                     const Seen& seen);

} // namespace vx::cache
