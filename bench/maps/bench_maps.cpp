// Searches for the 16 nearest points within a radius: the map engine through its public interface,
// with a functor that filters as a shader's does, against nanoflann and Embree point queries on the
// same data. Every engine must find the same number of points and the same sum of squared
// distances.
//
// Runs of the engines alternate and the fastest run of each counts, so that other load on the
// machine affects all of them alike.
#include "bench/maps/clouds.h"
#include "bench/maps/own_map.h"
#include "bench/maps/peers.h"
#include "bench/ratio.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace mi::shader_v3;
using vx::bench::Aim;
using vx::bench::Cloud;
using vx::bench::Filter;
using vx::bench::Found;
using vx::bench::OwnMap;
using vx::bench::print_ratio;
using vx::bench::Queries;
using vx::bench::Search;

double now() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

using Run = std::function<Found(std::size_t begin, std::size_t end)>;

// Seconds for the queries from `begin` to `end` on a number of threads, each of which runs
// consecutive ones.
double time_run(const Run& run, std::size_t begin, std::size_t end, unsigned threads,
                Found& found) {
    const std::size_t count = end - begin;
    std::vector<Found> parts(threads);
    const double start = now();
    std::vector<std::thread> others;
    for (unsigned t = 1; t < threads; ++t) {
        others.emplace_back([&, t] {
            parts[t] = run(begin + count * t / threads, begin + count * (t + 1) / threads);
        });
    }
    parts[0] = run(begin, begin + count / threads);
    for (std::thread& other : others)
        other.join();
    const double seconds = now() - start;
    found = {};
    for (const Found& part : parts)
        found += part;
    return seconds;
}

// The fastest of several runs, separately for each slice of the queries.
struct Fastest {
    std::vector<double> seconds;
    std::vector<Found> found;

    explicit Fastest(std::size_t slices) : seconds(slices, 1e30), found(slices) {}
    void run(const Run& run, std::size_t count, std::size_t slice, unsigned threads) {
        const std::size_t slices = seconds.size();
        const double time = time_run(run, count * slice / slices, count * (slice + 1) / slices,
                                     threads, found[slice]);
        seconds[slice] = std::min(seconds[slice], time);
    }
    double total() const {
        double sum = 0.0;
        for (const double s : seconds)
            sum += s;
        return sum;
    }
    Found all() const {
        Found sum;
        for (const Found& f : found)
            sum += f;
        return sum;
    }
};

struct Case {
    const char* name;
    const Queries* queries;
    Search search;
    double aim; // ratio to the better peer
};

int failures = 0;

void measure(const Case& c, const OwnMap& own, const std::vector<vx::bench::Peer*>& peers,
             unsigned rounds) {
    const std::size_t count = c.queries->points.size();
    std::vector<std::string> names = {"map engine"};
    std::vector<Run> runs = {
        [&](std::size_t b, std::size_t e) { return own.run(*c.queries, b, e, c.search); }};
    for (vx::bench::Peer* peer : peers) {
        names.emplace_back(peer->name());
        runs.emplace_back([&c, peer](std::size_t b, std::size_t e) {
            return peer->run(*c.queries, b, e, c.search);
        });
    }
    constexpr std::size_t kSlices = 20;
    std::vector<Fastest> on_one(runs.size(), Fastest(kSlices));
    std::vector<Fastest> on_two(runs.size(), Fastest(kSlices));
    for (unsigned round = 0; round < rounds; ++round) {
        for (std::size_t slice = 0; slice < kSlices; ++slice) {
            for (std::size_t i = 0; i < runs.size(); ++i) {
                on_one[i].run(runs[i], count, slice, 1);
                on_two[i].run(runs[i], count, slice, 2);
            }
        }
    }
    std::vector<double> one;
    std::vector<double> two;
    std::vector<Found> found;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        one.push_back(on_one[i].total());
        two.push_back(on_two[i].total());
        found.push_back(on_one[i].all());
        if (on_two[i].all().points != found[i].points) ++failures;
    }
    std::printf("\n%s (%zu queries)\n", c.name, count);
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const auto queries = static_cast<double>(count);
        std::printf("  %-11s %7.1f ns/query  %5.2f M/s   two threads %5.2f M/s (%.2fx)   "
                    "%llu points, sum %.9g\n",
                    names[i].c_str(), one[i] / queries * 1e9, queries / one[i] * 1e-6,
                    queries / two[i] * 1e-6, one[i] / two[i],
                    static_cast<unsigned long long>(found[i].points), found[i].squared_distances);
        if (!(found[i] == found[0])) {
            std::printf("  MISMATCH: %s found something else\n", names[i].c_str());
            ++failures;
        }
    }
    double best = 1e30;
    for (std::size_t i = 1; i < runs.size(); ++i)
        best = std::min(best, one[i]);
    print_ratio(std::string("maps: ") + c.name + ", of the better peer", one[0] / best,
                Aim::at_most, c.aim);
    print_ratio(std::string("maps: ") + c.name + ", two threads", one[0] / two[0], Aim::at_least,
                1.9);
}

double build_own(OwnMap& own, const Cloud& cloud) {
    own.fill(cloud);
    const double start = now();
    (*own.edit)->consolidate();
    const double seconds = now() - start;
    own.open();
    return seconds;
}

double build_peer(vx::bench::Peer& peer) {
    const double start = now();
    peer.build();
    return now() - start;
}

} // namespace

int main(int argc, char** argv) {
    const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1000000;
    const unsigned rounds =
        argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 3;
    const Cloud surface = vx::bench::surface_cloud(count);
    const Cloud cube = vx::bench::cube_cloud(count);
    const Queries scan = vx::bench::surface_queries(count);
    const Queries random = vx::bench::shuffled(scan);
    const Queries inside = vx::bench::cube_queries(count);

    OwnMap own;
    OwnMap own_cube;
    const auto nanoflann = vx::bench::make_nanoflann(surface);
    const auto embree = vx::bench::make_embree(surface);
    const auto nanoflann_cube = vx::bench::make_nanoflann(cube);
    const auto embree_cube = vx::bench::make_embree(cube);

    double built[3] = {1e30, 1e30, 1e30};
    for (unsigned round = 0; round < std::max(rounds, 3u); ++round) {
        built[0] = std::min(built[0], build_own(own, surface));
        built[1] = std::min(built[1], build_peer(*nanoflann));
        built[2] = std::min(built[2], build_peer(*embree));
    }
    std::printf(
        "building, surface of %zu points: map engine %.1f ms, nanoflann %.1f ms, Embree %.1f ms\n",
        count, built[0] * 1e3, built[1] * 1e3, built[2] * 1e3);
    print_ratio("maps: building, of nanoflann", built[0] / built[1], Aim::at_most, 1.4);

    const std::string file = (std::filesystem::temp_directory_path() /
                              ("bench_maps." + std::to_string(getpid()) + ".mrmap"))
                                 .string();
    (*own.edit)->write(file.c_str(), false);
    double loaded = 1e30;
    for (int i = 0; i < 10; ++i) {
        const double start = now();
        const Access_map map(file.c_str());
        loaded = std::min(loaded, now() - start);
        if (map->size() != count) ++failures;
    }
    std::filesystem::remove(file);
    std::printf("loading a closed binary map: %.2f ms\n", loaded * 1e3);
    print_ratio("maps: loading, of building", loaded / built[0], Aim::at_most, 0.1);

    build_own(own_cube, cube);
    nanoflann_cube->build();
    embree_cube->build();

    // About 28 points within the radius on the surface, 30 in the cube.
    const auto spacing = static_cast<float>(1.0 / std::sqrt(static_cast<double>(count)));
    const auto cube_spacing = static_cast<float>(1.0 / std::cbrt(static_cast<double>(count)));
    Search on_surface;
    on_surface.radius = 3.0f * spacing;
    Search in_cube;
    in_cube.radius = 1.93f * cube_spacing;
    Search labeled = on_surface;
    labeled.filter = Filter::label;
    Search facing = on_surface;
    facing.filter = Filter::label_cone_facing;

    const std::vector<vx::bench::Peer*> peers = {nanoflann.get(), embree.get()};
    const std::vector<vx::bench::Peer*> cube_peers = {nanoflann_cube.get(), embree_cube.get()};
    measure({"surface, scan order", &scan, on_surface, 0.8}, own, peers, rounds);
    measure({"surface, shuffled", &random, on_surface, 0.6}, own, peers, rounds);
    measure({"uniform cube", &inside, in_cube, 0.6}, own_cube, cube_peers, rounds);
    measure({"surface, scan order, 10 % pass a label filter", &scan, labeled, 0.6}, own, peers,
            rounds);
    measure({"surface, scan order, label, normal cone and facing", &scan, facing, 0.6}, own, peers,
            rounds);
    if (failures > 0) std::printf("\n%d FAILURES\n", failures);
    return failures > 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
