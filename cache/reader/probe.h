// What vx_pc_read sees: the library's own search, functor, weights and blend over one cloud.
#pragma once

#include "cache/cloud/attribute_reader.h"
#include "cache/formats/map_access.h"
#include "cache/reader/small_renderer.h"

#include "src/reader/instance_data.h"
#include "src/reader/read_parameters.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vx::cache {

using Float3 = std::array<float, 3>;

// The shader's parameters, with the defaults of its declaration.
struct ReaderSettings {
    float radius = 1;
    int max_points = 16;
    std::optional<std::string> labels; // a list in the shaders' syntax; without it all labels count
    bool facing = false;
    float min_angle = 0; // degrees
    float max_angle = 180;
    Float3 falloff{1, 1, 1};
    Float3 scale{1, 1, 1};
    bool use_opacity = false;
};

// One point that the search returned, in the search's order.
struct FoundPoint {
    std::int64_t index = 0; // in the order of the cloud
    std::optional<double> id;
    std::optional<int> label;
    Float3 position{};
    Float3 normal{}; // null without a field for it
    Float3 color{};
    float opacity = 1;
    float distance = 0;
    float falloff = 0;     // of the distance, before the exponents
    Float3 weight{};       // by which the blend multiplies the color
    bool left_out = false; // faces the wrong way: not in the mean
};

// How many points each test of the functor rejects, when one test is enabled after another.
struct Tally {
    std::int64_t total = 0;
    std::int64_t within = 0; // no farther than the radius
    std::int64_t by_label = 0;
    std::int64_t by_cone = 0;
    std::int64_t by_facing = 0; // behind the tangent plane or in it
    std::int64_t passed = 0;    // of these, at most max_points are found
    double nearest = -1;        // distance of the nearest point of all; -1: there is none
};

struct Seen {
    bool success = false; // what the shader returns
    std::array<float, 4> color{};
    int point_count = 0;
    int blended = 0; // points in the mean
    std::vector<FoundPoint> found;
    Tally tally;
};

class ReaderProbe {
  public:
    // Takes ownership of the cloud. Notes the shader's warnings and what a conversion cannot hold.
    // One probe at a time; throws FileError.
    ReaderProbe(CloudPtr cloud, const ReaderSettings& settings, Notes& notes);
    ~ReaderProbe();

    Seen look(const Float3& point, const Float3& normal, const Float3& direction);
    // Whether the shader rejects the cloud because it has no colors.
    bool disabled() const { return m_record->disabled != miFALSE; }
    const Cloud& cloud() const { return *m_cloud; }

  private:
    void find_points(const miState& state, Seen& seen) const;
    Tally tally(const miState& state) const;

    void check_renderer() const; // throws FileError if the shader's results are worthless

    SmallRenderer m_renderer;
    std::unique_ptr<SharedMap> m_map; // outlives the cloud, which holds on to it
    CloudPtr m_cloud;
    std::unique_ptr<TypedReader<double>> m_ids;
    ReadParameters m_parameters{};
    std::unique_ptr<ReadInstanceData> m_record;
};

} // namespace vx::cache
