// Lookups through the shader entry of the library as it is shipped, beside the bare search of the
// same queries: 16 to 2000 points, a cone and labels on, a cloud of a million points.
//
//   bench_reader [points [queries]]
//
// `queries` is their number at 16 points; more points take fewer. Both sides take turns in slices,
// and the fastest round of each slice counts, so that other load on the machine affects both alike.
// The bare search keeps one lookup for all queries and walks no result; the shader makes its own
// and everything else that it has to.
#include "bench/ratio.h"
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
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kRounds = 7;
constexpr std::size_t kSlices = 20;
constexpr int kMostPoints[] = {16, 64, 200, 2000};

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

// Runs a part of the queries. Each thread takes every n-th block of them, as a renderer's threads
// take tiles.
template <class Work>
double timed(std::span<const Query> queries, int threads, const Work& work) {
    constexpr std::size_t kBlock = 64;
    const auto run = [&](int thread) {
        auto one = work();
        for (std::size_t at = static_cast<std::size_t>(thread) * kBlock; at < queries.size();
             at += kBlock * static_cast<std::size_t>(threads))
            for (const Query& query : queries.subspan(at, std::min(kBlock, queries.size() - at)))
                one(query);
    };
    return seconds_of([&] {
        std::vector<std::jthread> others;
        for (int t = 1; t < threads; ++t)
            others.emplace_back(run, t);
        run(0);
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

struct Reader {
    Shader* shader;
    miState state;
    ReadParameters& params;
    const ReadInstanceData& record;
};

// Prints the figures of both sides and returns what the shader adds to the search's time.
double measure(const Reader& reader, const std::vector<Query>& queries, int threads,
               const char* order) {
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
                map_read::Search(lookup, distance, data->maxPoints, data->radiusSquared);
                found += map_read::Size(lookup);
            }
        };
        return Bare{mi::shader_v3::Map_lookup(*reader.record.mapHolder), reader.state,
                    &reader.record, &found_bare};
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
        return Call{reader.shader, reader.state, &reader.params, &found_shader};
    };
    double bare = 0;
    double whole = 0;
    for (std::size_t slice = 0; slice < kSlices; ++slice) {
        const std::size_t begin = queries.size() * slice / kSlices;
        const std::size_t end = queries.size() * (slice + 1) / kSlices;
        const auto part = std::span(queries).subspan(begin, end - begin);
        double least_bare = HUGE_VAL;
        double least_whole = HUGE_VAL;
        for (int round = 0; round < kRounds; ++round) {
            least_bare = std::min(least_bare, timed(part, threads, bare_work));
            least_whole = std::min(least_whole, timed(part, threads, shader_work));
        }
        bare += least_bare;
        whole += least_whole;
    }
    if (found_bare != found_shader) {
        (void)std::fprintf(stderr, "bench_reader: the two sides found different points\n");
        std::exit(EXIT_FAILURE);
    }
    const auto number = static_cast<double>(queries.size());
    std::printf("%4d points  %-8s %d thread%s  search %8.3f us  shader %8.3f us  %.1f points each  "
                "adds %.2f\n",
                reader.params.maxPoints, order, threads, threads == 1 ? " " : "s",
                bare / number * 1e6, whole / number * 1e6,
                static_cast<double>(found_bare.load()) / kRounds / number, whole / bare - 1);
    return whole / bare - 1;
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

    double worst = 0;
    for (const int most : kMostPoints) {
        // A third more points within the radius than wanted; half of the points pass the labels.
        const double spacings = std::sqrt(2 * 4.0 / 3.0 * most / 3.14159265);
        ReadParameters params = {};
        params.fileName = renderer.add_string(map_file);
        params.frame = 1;
        params.radius = static_cast<float>(spacings / side);
        params.maxPoints = most;
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
        for (const bool shuffled : {false, true}) {
            const std::vector<Query> queries =
                make_queries(std::max(wanted * 16 / most, 1000), shuffled);
            for (const int threads : {1, 2})
                worst = std::max(worst, measure({shader, state, params, *record}, queries, threads,
                                                shuffled ? "shuffled" : "scan"));
        }
        entry<Exit>(library, "vx_pc_read_exit")(&state, &params);
    }
    vx::bench::print_ratio("reader: time that the shader adds / search, the worst case", worst,
                           vx::bench::Aim::at_most, 0.35);
    std::filesystem::remove_all(folder);
    return EXIT_SUCCESS;
}
