/// @file
/// Lookups of vx_pc_read in a cloud, by the shader's own code, with all intermediate results.
#pragma once

#include "cache/cloud/attribute_reader.h"
#include "cache/formats/map_access.h"
#include "cache/reader/small_renderer.h"

#include "src/reader/instance_data.h"
#include "src/reader/read_parameters.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vx::cache {

using Float3 = std::array<float, 3>;

/// The shader's parameters, with the defaults of its declaration.
struct ReaderSettings {
    float radius = 1; ///< world units
    int max_points = 16;
    /// A list in the shaders' syntax; none: points of any label.
    std::optional<std::string> labels;
    bool facing = false;
    float min_angle = 0; ///< degrees
    float max_angle = 180;
    Float3 falloff{1, 1, 1};
    Float3 scale{1, 1, 1};
    bool use_opacity = false;
};

/// A point that the search found.
struct FoundPoint {
    std::int64_t index = 0; ///< in the cloud
    std::optional<double> id;
    std::optional<int> label;
    Float3 position{};
    Float3 normal{}; ///< null if the cloud has no normals
    Float3 color{};
    float opacity = 1;
    float distance = 0;
    float falloff = 0;     ///< of the distance, before the exponents
    Float3 weight{};       ///< by which the blend multiplies the color
    bool left_out = false; ///< faces away and is not in the mean
};

/// How many points each test of the functor rejects; see Rejection. A point that fails several
/// tests counts for the first of them.
struct Tally {
    std::int64_t total = 0;
    std::int64_t within = 0; ///< not farther away than the radius
    std::int64_t by_label = 0;
    std::map<int, std::int64_t> labels; ///< of the points rejected by label, and their number
    std::int64_t by_cone = 0;
    std::int64_t by_facing = 0;
    std::int64_t passed = 0; ///< of which at most max_points are found
    double nearest = -1;     ///< distance of the nearest point of all; -1 if there is none
};

/// The result of a lookup.
struct Seen {
    bool success = false; ///< what the shader returns
    std::array<float, 4> color{};
    int point_count = 0;
    int blended = 0;               ///< points in the mean
    std::vector<FoundPoint> found; ///< by increasing distance
    Tally tally;
};

/// An instance of the shader for one cloud. One may exist at a time; see SmallRenderer.
class ReaderProbe {
  public:
    /// Takes ownership of the cloud.
    /// @param notes  the shader's messages, and what the map of the cloud cannot hold, are appended
    /// @throws FileError
    ReaderProbe(CloudPtr cloud, const ReaderSettings& settings, Notes& notes);
    ~ReaderProbe();

    /// Runs the shader at a point. The normal is used as it is; the direction has no effect.
    /// @throws FileError
    Seen look(const Float3& point, const Float3& normal, const Float3& direction);
    /// Whether the shader rejects the cloud, which has no colors.
    bool disabled() const { return m_record->disabled != miFALSE; }
    const Cloud& cloud() const { return *m_cloud; }

  private:
    void find_points(const miState& state, Seen& seen) const;
    Tally tally(const miState& state) const;

    void check_renderer() const;
    void
    set_labels(const std::string& text); // throws FileError if the shader's results are worthless

    SmallRenderer m_renderer;
    std::unique_ptr<SharedMap> m_map; // outlives the cloud, which holds on to it
    CloudPtr m_cloud;
    std::unique_ptr<TypedReader<double>> m_ids;
    ReadParameters m_parameters{};
    std::unique_ptr<ReadInstanceData> m_record;
};

} // namespace vx::cache
