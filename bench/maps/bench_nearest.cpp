// Searches for 1 to 2000 nearest points, and for all, within a radius: the map engine through its
// public interface against nanoflann and Embree point queries, each with several ways to keep the
// nearest. Every engine must find the same number of points and the same sum of squared distances.
//
// Runs of the engines alternate in slices and the fastest run of each slice counts, so that other
// load on the machine affects all of them alike.
//
//     bench_nearest [POINTS [ROUNDS [CASE]]]     CASE: a part of a case's name
#include "bench/maps/clouds.h"
#include "bench/maps/own_map.h"
#include "bench/maps/peers.h"
#include "bench/ratio.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using vx::bench::Collect;
using vx::bench::Filter;
using vx::bench::Found;
using vx::bench::OwnMap;
using vx::bench::Peer;
using vx::bench::Queries;
using vx::bench::Search;

constexpr unsigned kAll = 1000000;
constexpr unsigned kWanted[] = {1, 4, 16, 48, 64, 200, 1000, 2000, kAll};
constexpr std::size_t kSlices = 10;

using Run = std::function<Found(std::size_t begin, std::size_t end)>;

struct Engine {
    std::string name;
    Run run;
    std::vector<double> seconds = std::vector<double>(kSlices, 1e30); // fastest of each slice
    std::vector<Found> found = std::vector<Found>(kSlices);

    [[nodiscard]] double total() const {
        double sum = 0.0;
        for (const double s : seconds)
            sum += s;
        return sum;
    }
    [[nodiscard]] Found all() const {
        Found sum;
        for (const Found& f : found)
            sum += f;
        return sum;
    }
};

struct Case {
    const char* name;
    const OwnMap& own;
    const std::vector<Peer*>& peers;
    const Queries& queries;
    Search search;
};

int g_failures = 0;

// Consecutive queries from the middle.
Queries some(const Queries& all, std::size_t count) {
    Queries few;
    const std::size_t first = (all.points.size() - count) / 2;
    for (std::size_t i = first; i < first + count; ++i) {
        few.points.push_back(all.points[i]);
        few.normals.push_back(all.normals[i]);
    }
    return few;
}

void measure(const Case& c, unsigned wanted, unsigned rounds) {
    Search search = c.search;
    search.most = wanted;
    const Queries queries = some(
        c.queries, std::min<std::size_t>(c.queries.points.size(), 400 + 400000 / (wanted + 16)));
    const std::size_t count = queries.points.size();
    std::vector<Engine> engines;
    engines.push_back({"map engine", [&](std::size_t b, std::size_t e) {
                           return c.own.run(queries, b, e, search);
                       }});
    for (Peer* const peer : c.peers) {
        const std::string name = peer->name();
        const bool sorted = name.find(',') == std::string::npos;
        if (sorted && wanted > vx::bench::kMostSorted) continue;
        engines.push_back({name, [&search, &queries, peer](std::size_t b, std::size_t e) {
                               return peer->run(queries, b, e, search);
                           }});
    }
    for (unsigned round = 0; round < rounds; ++round) {
        for (std::size_t slice = 0; slice < kSlices; ++slice) {
            for (Engine& e : engines) {
                using Clock = std::chrono::steady_clock;
                const auto start = Clock::now();
                e.found[slice] = e.run(count * slice / kSlices, count * (slice + 1) / kSlices);
                const std::chrono::duration<double> time = Clock::now() - start;
                e.seconds[slice] = std::min(e.seconds[slice], time.count());
            }
        }
    }
    const Engine* best = &engines[1];
    for (std::size_t i = 1; i < engines.size(); ++i) {
        if (engines[i].total() < best->total()) best = &engines[i];
        if (engines[i].all() == engines[0].all()) continue;
        std::printf("  MISMATCH: %s found something else\n", engines[i].name.c_str());
        ++g_failures;
    }
    const double own = engines[0].total();
    const double ratio = own / best->total();
    const double aim = wanted >= 1000 ? 0.35 : 0.5;
    const double per_query = own / static_cast<double>(count) * 1e6;
    const auto points = static_cast<double>(engines[0].all().points);
    std::printf("  %7u %9.2f us %7.1f ns/point   best peer %-18s %9.2f us\n", wanted, per_query,
                own / std::max(points, 1.0) * 1e9, best->name.c_str(),
                best->total() / static_cast<double>(count) * 1e6);
    const std::string most = wanted == kAll ? "all" : std::to_string(wanted);
    vx::bench::print_ratio("nearest: " + most + ", " + c.name, ratio, vx::bench::Aim::at_most, aim);
}

} // namespace

int main(int argc, char** argv) {
    const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1000000;
    const unsigned rounds =
        argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 3;
    const std::string only = argc > 3 ? argv[3] : "";

    const vx::bench::Cloud surface = vx::bench::surface_cloud(count);
    const vx::bench::Cloud cube = vx::bench::cube_cloud(count);
    const Queries scan = vx::bench::surface_queries(count);
    const Queries random = vx::bench::shuffled(scan);
    const Queries inside = vx::bench::cube_queries(count);

    std::vector<std::unique_ptr<Peer>> made;
    std::vector<Peer*> surface_peers;
    std::vector<Peer*> cube_peers;
    for (const Collect collect : {Collect::sorted, Collect::buffer, Collect::all}) {
        for (const auto& [cloud, peers] :
             {std::pair{&surface, &surface_peers}, std::pair{&cube, &cube_peers}}) {
            made.push_back(vx::bench::make_nanoflann(*cloud, collect));
            peers->push_back(made.back().get());
            made.push_back(vx::bench::make_embree(*cloud, collect));
            peers->push_back(made.back().get());
        }
    }
    for (const auto& peer : made)
        peer->build();
    OwnMap own;
    own.fill(surface);
    (*own.edit)->consolidate();
    own.open();
    OwnMap own_cube;
    own_cube.fill(cube);
    (*own_cube.edit)->consolidate();
    own_cube.open();

    // Points within the radius: about 1.3 k and 4 k.
    const double spacing = 1.0 / std::sqrt(static_cast<double>(count));
    const double cube_spacing = 1.0 / std::cbrt(static_cast<double>(count));
    const auto disc = [&](double points) {
        Search search;
        search.radius = static_cast<float>(std::sqrt(points / 3.14159265) * spacing);
        return search;
    };
    const auto ball = [&](double points) {
        Search search;
        search.radius = static_cast<float>(std::cbrt(points * 0.75 / 3.14159265) * cube_spacing);
        return search;
    };
    Search labeled = disc(4000);
    labeled.filter = Filter::label;
    Search facing = disc(4000);
    facing.filter = Filter::label_cone_facing;
    const Case cases[] = {
        {"surface, scan order, 1.3 k in the radius", own, surface_peers, scan, disc(1300)},
        {"surface, scan order, 4 k in the radius", own, surface_peers, scan, disc(4000)},
        {"surface, shuffled, 1.3 k in the radius", own, surface_peers, random, disc(1300)},
        {"surface, shuffled, 4 k in the radius", own, surface_peers, random, disc(4000)},
        {"uniform cube, 4 k in the radius", own_cube, cube_peers, inside, ball(4000)},
        {"surface, scan order, a tenth of 4 k passes a label filter", own, surface_peers, scan,
         labeled},
        {"surface, scan order, label, cone and facing", own, surface_peers, scan, facing},
    };
    for (const Case& c : cases) {
        if (std::string(c.name).find(only) == std::string::npos) continue;
        std::printf("\n%s\n", c.name);
        for (const unsigned wanted : kWanted)
            measure(c, wanted, rounds);
    }
    if (g_failures > 0) std::printf("%d FAILURES\n", g_failures);
    return g_failures > 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
