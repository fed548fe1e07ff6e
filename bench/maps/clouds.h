// The data that all engines search, and what a search must find.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vx::bench {

struct Float3 {
    float x, y, z;
};

struct Cloud {
    std::vector<Float3> points;
    std::vector<Float3> normals;
    std::vector<int> tags; // 0 to 9, without spatial order
};

struct Queries {
    std::vector<Float3> points;
    std::vector<Float3> normals;
};

// A hilly surface over the unit square, sampled row by row with jitter.
Cloud surface_cloud(std::size_t count);
// Points on the same surface, row by row, between the cloud's.
Queries surface_queries(std::size_t count);
Cloud cube_cloud(std::size_t count);
Queries cube_queries(std::size_t count);
// The same queries in random order.
Queries shuffled(Queries queries);

// Results of a run.
struct Found {
    std::uint64_t points = 0;
    double squared_distances = 0.0;
    bool operator==(const Found&) const = default;
    Found& operator+=(const Found& other) {
        points += other.points;
        squared_distances += other.squared_distances;
        return *this;
    }
};

// The filter that an element must pass to be found.
enum class Filter { none, label, label_cone_facing };

struct Search {
    unsigned most = 16;
    float radius = 0.0f;
    Filter filter = Filter::none;
    std::vector<int> labels = {3};
    float max_angle = 0.7f;
};

// Parts of the filter, with the same arithmetic for all engines.
bool passes_label(int tag, const Search& search);
bool passes_cone_and_facing(const Float3& normal, const Float3& point, const Float3& query,
                            const Float3& query_normal, const Search& search);

} // namespace vx::bench
