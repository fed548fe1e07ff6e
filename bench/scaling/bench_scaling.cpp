// How time and memory grow with the number of points: a row of figures for each size.
//
//   bench_scaling [POINTS...]     default: 100000 1000000
//
// Building, opening and searching run in this process, through the map interface; baking,
// converting, info and viewing are runs of the programs, as a user starts them. Files are in memory
// (/dev/shm) if there is such a folder: a size takes about 190 bytes per point there, and in this
// process 220.
#include "bench/maps/clouds.h"
#include "bench/maps/own_map.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using vx::bench::OwnMap;
using vx::bench::Queries;
using vx::bench::Search;

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

struct Usage {
    double seconds;
    double peak_mib;
};

// Runs a program in a folder without its output. Ends this program if that one fails.
Usage run(const std::filesystem::path& folder, std::vector<std::string> words) {
    const double start = now();
    const pid_t child = fork();
    if (child == 0) {
        if (chdir(folder.c_str()) != 0 || std::freopen("/dev/null", "w", stdout) == nullptr ||
            std::freopen("/dev/null", "w", stderr) == nullptr) {
            _exit(127);
        }
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const double seconds = now() - start;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        (void)std::fprintf(stderr, "bench_scaling: %s %s failed\n", words[0].c_str(),
                           words[1].c_str());
        std::filesystem::remove_all(folder);
        std::exit(EXIT_FAILURE);
    }
    return {seconds, static_cast<double>(usage.ru_maxrss) / 1024};
}

// One square, seen from above by a camera of as many pixels as points are wanted.
void write_bake(const std::filesystem::path& file, int side) {
    std::ofstream out(file);
    out << "link \"base.so\"\nlink \"vx_pc.so\"\n$include <base.mi>\n$include <vx_pc.mi>\n"
           "material \"mtl\" opaque \"vx_pc_tag\" ( \"color\" 1 1 1 1, \"bakeColor\" 0.2 0.5 0.8 "
           "1, "
           "\"tag\" 1 ) end material\n"
           "object \"square\" visible trace tagged\n group\n"
           "  -1 -1 0  1 -1 0  1 1 0  -1 1 0\n  v 0 v 1 v 2 v 3\n  p 0 1 2 3\n end group\n"
           "end object\n"
           "instance \"square_i\" \"square\" material [ \"mtl\" ] end instance\n"
           "camera \"cam\" output \"rgba\" \"png\" \"bake.png\" focal 1 aperture 1 aspect 1\n"
        << " resolution " << side << ' ' << side
        << "\n lens \"vx_pc_write\" ( \"layers\" 1, \"outputMode\" 2, \"frame\" 1, "
           "\"pdcFileName\" \"cloud.0001.pdc\", \"mapFileName\" \"baked.0001.mrmap\" )\nend "
           "camera\n"
           "instance \"cam_i\" \"cam\" transform 1 0 0 0  0 1 0 0  0 0 1 0  0 0 -2 1 end instance\n"
           "options \"opt\" samples 0 0 end options\n"
           "instgroup \"root\" \"cam_i\" \"square_i\" end instgroup\n"
           "render \"root\" \"cam_i\" \"opt\"\n";
}

// The fastest of several rounds, in microseconds per search.
double search_time(const OwnMap& own, const Queries& queries, unsigned most, std::size_t points) {
    constexpr int kRounds = 5;
    constexpr std::size_t kSlices = 20;
    Search search;
    search.most = most;
    // A third more points within the radius than wanted.
    search.radius =
        static_cast<float>(std::sqrt(4.0 / 3.0 * most / 3.14159265 / static_cast<double>(points)));
    const std::size_t count = std::min<std::size_t>(queries.points.size(), 2000000 / most);
    // From the middle of the surface: near its border there are fewer points within the radius.
    const std::size_t first = (queries.points.size() - count) / 2;
    double sum = 0;
    for (std::size_t slice = 0; slice < kSlices; ++slice) {
        double least = HUGE_VAL;
        for (int round = 0; round < kRounds; ++round) {
            const double start = now();
            (void)own.run(queries, first + count * slice / kSlices,
                          first + count * (slice + 1) / kSlices, search);
            least = std::min(least, now() - start);
        }
        sum += least;
    }
    return sum / static_cast<double>(count) * 1e6;
}

void print_row(std::size_t points) {
    const std::filesystem::path base =
        std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
    const std::filesystem::path folder = base / ("vx_bench_scaling_" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const int side = static_cast<int>(std::sqrt(static_cast<double>(points)));
    write_bake(folder / "bake.mi", side);
    const Usage bake = run(folder, {VX_RENDER_PROGRAM, "bake.mi"});
    std::filesystem::remove(folder / "baked.0001.mrmap");
    const Usage convert = run(folder, {VX_CACHE_PROGRAM, "convert", "cloud.0001.pdc", "c.mrmap"});
    const Usage info = run(folder, {VX_CACHE_PROGRAM, "info", "c.mrmap"});
    const Usage view =
        run(folder, {VX_CACHE_PROGRAM, "view", "c.mrmap", "-o", "view.png", "--size", "1920x1080"});
    std::filesystem::remove(folder / "cloud.0001.pdc");
    std::filesystem::remove(folder / "c.mrmap");

    OwnMap own;
    own.fill(vx::bench::surface_cloud(points));
    const double start = now();
    (*own.edit)->consolidate();
    const double build = now() - start;
    const std::string map = (folder / "map.mrmap").string();
    (*own.edit)->write(map.c_str(), false);
    double open = HUGE_VAL;
    for (int round = 0; round < 3; ++round) {
        const double begin = now();
        const mi::shader_v3::Access_map access(map.c_str());
        open = std::min(open, now() - begin);
        if (access->size() != points) std::exit(EXIT_FAILURE);
    }
    std::filesystem::remove_all(folder);
    own.open();
    const Queries queries = vx::bench::surface_queries(points);
    const double few = search_time(own, queries, 16, points);
    const double many = search_time(own, queries, 500, points);
    std::printf("%11zu %8.2f %8.3f %8.2f %8.2f %8.2f %8.2f %8.2f %8.2f %9.0f %9.0f\n", points,
                build, open, few, many, bake.seconds, convert.seconds, info.seconds, view.seconds,
                bake.peak_mib, convert.peak_mib);
    (void)std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::size_t> sizes;
    for (int i = 1; i < argc; ++i)
        sizes.push_back(std::strtoul(argv[i], nullptr, 10));
    if (sizes.empty()) sizes = {100000, 1000000};
    std::printf("%11s %8s %8s %8s %8s %8s %8s %8s %8s %9s %9s\n", "points", "build s", "open s",
                "16 us", "500 us", "bake s", "conv. s", "info s", "view s", "bake MiB",
                "conv. MiB");
    (void)std::fflush(stdout); // before the output of a child could repeat it
    for (const std::size_t points : sizes)
        print_row(points);
    return EXIT_SUCCESS;
}
