// One instance of the reader in the stand-in renderer, with parameters that can be set and
// connected.
#pragma once

#include "src/reader/instance_data.h"
#include "src/reader/lookup.h"
#include "src/reader/read_parameters.h"
#include "tests/renderer_stub/map_stub.h"
#include "tests/renderer_stub/renderer_stub.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vx::test {

// Plain, working values: everything within 2 units, no filter, no weight but the distance's.
inline ReadParameters plain_parameters() {
    ReadParameters params = {};
    params.frame = 7;
    params.radius = 2;
    params.maxPoints = 16;
    params.maxAngle = 180;
    params.falloff = {1, 1, 1, 1};
    params.scale = {1, 1, 1, 1};
    return params;
}

inline constexpr const char* kFrameFile = "shot.0007.mrmap";

struct BakedPoint {
    std::array<float, 3> position = {0, 0, 0};
    miVector color = {1, 1, 1};
    float opacity = 1;
    miVector normal = {0, 0, 1};
    int label = 0;
};

// A map with the four fields in the order in which a bake declares them.
inline stub::MapContent content_of(const std::vector<BakedPoint>& points) {
    stub::MapContent content;
    std::vector<miVector> normals;
    std::vector<miVector> colors;
    std::vector<float> opacities;
    std::vector<int> labels;
    for (const BakedPoint& point : points) {
        content.positions.push_back(point.position);
        normals.push_back(point.normal);
        colors.push_back(point.color);
        opacities.push_back(point.opacity);
        labels.push_back(point.label);
    }
    content.add("normalPP", normals);
    content.add("rgbPP", colors);
    content.add("opacityPP", opacities);
    content.add("tag", labels);
    return content;
}

class ReadInstance {
  public:
    stub::Renderer renderer;
    ReadParameters params = plain_parameters();
    std::string file_name = "shot.0001.mrmap"; // element 1
    std::string labels;                        // element 2
    std::map<size_t, std::vector<std::byte>> connections;
    miState state = {};

    // Puts the instance, element 3, into the database. The state stands at the origin, looks along
    // -z, and its normal is +z.
    void start() {
        params.fileName = renderer.add_string(file_name);
        params.labels = renderer.add_string(labels);
        stub::FunctionSetup setup;
        setup.block = stub::bytes_of(params);
        for (const auto& [offset, value] : connections) {
            const auto connection = static_cast<miTag>(100 + offset);
            setup.connections[static_cast<int>(offset)] = connection;
            renderer.connected[connection] = value;
        }
        state = renderer.new_state(renderer.add_function(setup));
        state.normal = {0, 0, 1};
        state.dir = {0, 0, -1};
        renderer.clear_calls();
    }
    // The parameter at `offset` comes from another shader, and is `value`.
    template <class T>
    void connect(size_t offset, const T& value) {
        connections[offset] = stub::bytes_of(value);
    }
    ReadParameters* block() { return reinterpret_cast<ReadParameters*>(state.shader->parameters); }
    std::unique_ptr<ReadInstanceData> make_record() {
        return std::make_unique<ReadInstanceData>(&state, block());
    }
};

} // namespace vx::test
