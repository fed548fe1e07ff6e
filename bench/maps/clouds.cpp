#include "bench/maps/clouds.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace vx::bench {

namespace {

// A point of the surface, and its normal.
void on_surface(float x, float y, Float3& point, Float3& normal) {
    const float z = 0.08f * std::sin(9.0f * x) * std::cos(7.0f * y) +
                    0.02f * std::sin(31.0f * x + 3.0f) * std::sin(29.0f * y);
    const float zx = 0.72f * std::cos(9.0f * x) * std::cos(7.0f * y) +
                     0.62f * std::cos(31.0f * x + 3.0f) * std::sin(29.0f * y);
    const float zy = -0.56f * std::sin(9.0f * x) * std::sin(7.0f * y) +
                     0.58f * std::sin(31.0f * x + 3.0f) * std::cos(29.0f * y);
    const float length = std::sqrt(zx * zx + zy * zy + 1.0f);
    point = {x, y, z};
    normal = {-zx / length, -zy / length, 1.0f / length};
}

template <class Each>
void scan(std::size_t count, unsigned seed, const Each& each) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> jitter(0.0f, 1.0f);
    const auto side = static_cast<std::size_t>(std::lround(std::sqrt(static_cast<double>(count))));
    const float step = 1.0f / static_cast<float>(side);
    for (std::size_t i = 0; i < count; ++i) {
        const float x = (static_cast<float>(i % side) + jitter(random)) * step;
        const std::size_t row = i / side;
        const float y = (static_cast<float>(row) + jitter(random)) * step;
        Float3 point{};
        Float3 normal{};
        on_surface(x, y, point, normal);
        each(point, normal, static_cast<int>(random() % 10u));
    }
}

template <class Each>
void fill_cube(std::size_t count, unsigned seed, const Each& each) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    for (std::size_t i = 0; i < count; ++i) {
        const float x = uniform(random);
        const float y = uniform(random);
        const float z = uniform(random);
        each(Float3{x, y, z}, static_cast<int>(random() % 10u));
    }
}

} // namespace

Cloud surface_cloud(std::size_t count) {
    Cloud cloud;
    scan(count, 1, [&](const Float3& point, const Float3& normal, int tag) {
        cloud.points.push_back(point);
        cloud.normals.push_back(normal);
        cloud.tags.push_back(tag);
    });
    return cloud;
}

Queries surface_queries(std::size_t count) {
    Queries queries;
    scan(count, 2, [&](const Float3& point, const Float3& normal, int) {
        queries.points.push_back(point);
        queries.normals.push_back(normal);
    });
    return queries;
}

Cloud cube_cloud(std::size_t count) {
    Cloud cloud;
    fill_cube(count, 3, [&](const Float3& point, int tag) {
        cloud.points.push_back(point);
        cloud.normals.push_back({0.0f, 0.0f, 1.0f});
        cloud.tags.push_back(tag);
    });
    return cloud;
}

Queries cube_queries(std::size_t count) {
    Queries queries;
    fill_cube(count, 4, [&](const Float3& point, int) {
        queries.points.push_back(point);
        queries.normals.push_back({0.0f, 0.0f, 1.0f});
    });
    return queries;
}

Queries shuffled(Queries queries) {
    std::mt19937 random(5);
    for (std::size_t i = queries.points.size(); i > 1; --i) {
        const std::size_t j = random() % i;
        std::swap(queries.points[i - 1], queries.points[j]);
        std::swap(queries.normals[i - 1], queries.normals[j]);
    }
    return queries;
}

bool passes_label(int tag, const Search& search) {
    return std::find(search.labels.begin(), search.labels.end(), tag) != search.labels.end();
}

bool passes_cone_and_facing(const Float3& normal, const Float3& point, const Float3& query,
                            const Float3& query_normal, const Search& search) {
    const float cosine =
        normal.x * query_normal.x + normal.y * query_normal.y + normal.z * query_normal.z;
    const float angle = cosine <= -0.9999f  ? 3.1415927f
                        : cosine >= 0.9999f ? 0.0f
                                            : std::acos(cosine);
    if (angle > search.max_angle) return false;
    const float side = query_normal.x * (point.x - query.x) + query_normal.y * (point.y - query.y) +
                       query_normal.z * (point.z - query.z);
    return side > 0.0f;
}

} // namespace vx::bench
