// Lookups through the shader entry of the library as it is shipped, beside the bare search of the
// same queries: 16 points, a cone and labels on, a cloud of a million points.
//
//   bench_reader [points [queries]]
//
// Both sides take turns; of each the best of several rounds counts. The bare search keeps one
// lookup for all queries and walks no result; the shader makes its own and everything else that it
// has to.
#include "cache/reader/small_renderer.h"
#include "mi_shader_if.h"
#include "src/platform/map_read.h"
#include "src/reader/instance_data.h"
#include "src/reader/my_distance.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kRounds = 7;
constexpr float kRadiusInSpacings = 5;

struct Query {
    miVector point;
    miVector normal;
};

miVector normal_at(float x, float y) {
    // Of the hilly surface z = 0.05 sin(6x) cos(5y).
    miVector n = {-0.3f * std::cos(6 * x) * std::cos(5 * y),
                  0.25f * std::sin(6 * x) * std::sin(5 * y), 1};
    mi_vector_normalize(&n);
    return n;
}
float height_at(float x, float y) {
    return 0.05f * std::sin(6 * x) * std::cos(5 * y);
}

// A baked surface: a grid of samples in scan order, jittered; six labels in stripes.
void write_cloud(const std::string& file, int side) {
    std::mt19937 engine(3);
    std::uniform_real_distribution<float> jitter(0, 1);
    using mi::shader_v3::Map_field_type;
    mi::shader_v3::Map_declaration declaration(3);
    declaration->append_field("normalPP", Map_field_type::Vector);
    declaration->append_field("rgbPP", Map_field_type::Vector);
    declaration->append_field("opacityPP", Map_field_type::Scalar);
    declaration->append_field("tag", Map_field_type::Integer);
    mi::shader_v3::Edit_map map(declaration);
    mi::shader_v3::Map_element element(declaration);
    for (int row = 0; row < side; ++row) {
        for (int column = 0; column < side; ++column) {
            const float x =
                (static_cast<float>(column) + jitter(engine)) / static_cast<float>(side);
            const float y = (static_cast<float>(row) + jitter(engine)) / static_cast<float>(side);
            const float position[3] = {x, y, height_at(x, y)};
            element->set_position(position);
            element->set(0, normal_at(x, y));
            element->set(1, miVector{x, y, 0.5f});
            element->set(2, 1.0f);
            element->set(3, (row + column) % 6);
            map->append(element);
        }
    }
    map->consolidate();
    if (!map->write(file.c_str(), false).is_ok()) std::exit(EXIT_FAILURE);
}

std::vector<Query> make_queries(int count, bool shuffled) {
    std::mt19937 engine(4);
    std::uniform_real_distribution<float> jitter(0, 1);
    const int side = static_cast<int>(std::sqrt(static_cast<float>(count)));
    std::vector<Query> queries;
    for (int row = 0; row < side; ++row) {
        for (int column = 0; column < side; ++column) {
            const float x =
                (static_cast<float>(column) + jitter(engine)) / static_cast<float>(side);
            const float y = (static_cast<float>(row) + jitter(engine)) / static_cast<float>(side);
            queries.push_back({{x, y, height_at(x, y)}, normal_at(x, y)});
        }
    }
    if (shuffled) std::shuffle(queries.begin(), queries.end(), engine);
    return queries;
}

double seconds_of(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Each thread takes every n-th block of queries, as a renderer's threads take tiles.
template <class Work>
double timed(const std::vector<Query>& queries, int threads, const Work& work) {
    constexpr size_t kBlock = 1024;
    return seconds_of([&] {
        std::vector<std::jthread> running;
        running.reserve(static_cast<size_t>(threads));
        for (int t = 0; t < threads; ++t) {
            running.emplace_back([&, t] {
                auto one = work();
                for (size_t at = static_cast<size_t>(t) * kBlock; at < queries.size();
                     at += kBlock * static_cast<size_t>(threads))
                    for (size_t i = at; i < std::min(at + kBlock, queries.size()); ++i)
                        one(queries[i]);
            });
        }
    });
}

using Init = void(miState*, void*, miBoolean*);
using Exit = void(miState*, void*);
using Shader = miBoolean(ReadResult*, miState*, void*);

template <class Function>
Function* entry(void* library, const char* name) {
    void* const found = dlsym(library, name);
    if (found == nullptr) {
        (void)std::fprintf(stderr, "bench_reader: %s\n", dlerror());
        std::exit(EXIT_FAILURE);
    }
    return reinterpret_cast<Function*>(found);
}

} // namespace

int main(int argc, char** argv) {
    const int points = argc > 1 ? std::stoi(argv[1]) : 1000000;
    const int wanted = argc > 2 ? std::stoi(argv[2]) : 250000;
    const int side = static_cast<int>(std::sqrt(static_cast<double>(points)));
    const auto folder =
        std::filesystem::temp_directory_path() / ("vx_bench_reader_" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    const std::string map_file = (folder / "cloud.0001.mrmap").string();
    write_cloud(map_file, side);
    vx::cache::SmallRenderer renderer;

    void* const library = dlopen(VX_LIBRARY, RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr) {
        (void)std::fprintf(stderr, "bench_reader: %s\n", dlerror());
        return EXIT_FAILURE;
    }
    const auto shader = entry<Shader>(library, "vx_pc_read");

    ReadParameters params = {};
    params.fileName = renderer.add_string(map_file);
    params.frame = 1;
    params.radius = kRadiusInSpacings / static_cast<float>(side);
    params.maxPoints = 16;
    params.useLabels = miTRUE;
    params.labels = renderer.add_string("0-2");
    params.minAngle = 0;
    params.maxAngle = 60;
    params.falloff = {1, 1, 1, 1};
    params.scale = {1, 1, 1, 1};
    miFunction function = {};
    miState state = {};
    state.shader = &function;
    entry<Init>(library, "vx_pc_read_init")(&state, &params, nullptr);
    // The bare search has a record of its own: the library's is hidden.
    const auto record = std::make_unique<ReadInstanceData>(&state, &params);

    std::printf("%d points, 16 nearest within %g, labels and cone on\n", side * side,
                static_cast<double>(params.radius));
    double worst = 0;
    for (const bool shuffled : {false, true}) {
        const std::vector<Query> queries = make_queries(wanted, shuffled);
        for (const int threads : {1, 2}) {
            std::atomic<long> found_bare = 0;
            std::atomic<long> found_shader = 0;
            const auto bare_work = [&] {
                struct Bare {
                    mi::shader_v3::Map_lookup lookup;
                    miState at;
                    const ReadInstanceData* data;
                    std::atomic<long>* total;
                    long found = 0;
                    ~Bare() { *total += found; }
                    void operator()(const Query& query) {
                        at.point = query.point;
                        at.normal = query.normal;
                        const My_distance distance(&at, 0, 60, data);
                        map_read::Search(lookup, distance, 16, data->radiusSquared);
                        found += map_read::Size(lookup);
                    }
                };
                return Bare{mi::shader_v3::Map_lookup(*record->mapHolder), state, record.get(),
                            &found_bare};
            };
            const auto shader_work = [&] {
                struct Call {
                    Shader* read;
                    miState at;
                    ReadParameters* block;
                    std::atomic<long>* total;
                    long found = 0;
                    ~Call() { *total += found; }
                    void operator()(const Query& query) {
                        at.point = query.point;
                        at.normal = query.normal;
                        ReadResult result;
                        read(&result, &at, block);
                        found += result.pointCount;
                    }
                };
                return Call{shader, state, &params, &found_shader};
            };
            double bare = HUGE_VAL;
            double whole = HUGE_VAL;
            for (int round = 0; round < kRounds; ++round) {
                bare = std::min(bare, timed(queries, threads, bare_work));
                whole = std::min(whole, timed(queries, threads, shader_work));
            }
            if (found_bare != found_shader) {
                (void)std::fprintf(stderr, "bench_reader: the two sides found different points\n");
                return EXIT_FAILURE;
            }
            const auto number = static_cast<double>(queries.size());
            worst = std::max(worst, whole / bare - 1);
            std::printf("%-8s %d thread%s  search %.3f  shader %.3f million/s  "
                        "%.1f points each  adds %.2f\n",
                        shuffled ? "shuffled" : "scan", threads, threads == 1 ? " " : "s",
                        number / bare / 1e6, number / whole / 1e6,
                        static_cast<double>(found_bare.load()) / kRounds / number,
                        whole / bare - 1);
        }
    }
    std::printf("ratio: the shader adds %.2f of the search's time at most (aim 0.35)\n", worst);
    entry<Exit>(library, "vx_pc_read_exit")(&state, &params);
    std::filesystem::remove_all(folder);
    return EXIT_SUCCESS;
}
