// vx_cache over a baked cache of a million points: info, pdc to ply, pdc to a map, each against the
// plain read(2) of the same file in large blocks, page cache warm.
//
// The variants take turns and the fastest run of each counts, so that a busy neighbor hits all
// alike. Processor time is that of all threads, from the fastest run by the clock.
#include "bench/cache/baked.h"
#include "cache/cloud/parallel.h"
#include "cache/formats/format.h"
#include "cache/verbs/statistics.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using namespace vx::cache;
using vx::bench::plain_read;
using vx::bench::processor_seconds;
using vx::bench::write_cache;

struct Work {
    const char* name;
    double aim; // at most so many times the plain read; 0: none is set
    std::function<void()> run;
    std::string output = {}; // removed before every run
    double best = std::numeric_limits<double>::infinity();
    double processor = 0;
};

void convert(const std::string& from, const std::string& to, Format format) {
    Findings findings;
    const OpenedCloud opened = open_cloud(from, findings);
    WriteOptions options;
    options.force = true;
    options.all_fields = false;
    write_cloud(*opened.cloud, to, format, options);
}

} // namespace

int main(int argc, char** argv) {
    const int points = argc > 1 ? std::stoi(argv[1]) : 1000000;
    const int rounds = argc > 2 ? std::stoi(argv[2]) : 9;
    const std::string only = argc > 3 ? argv[3] : ""; // one of the works, for a profiler
    const auto folder =
        std::filesystem::temp_directory_path() / ("vx_bench_cache_" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    const std::string cache = (folder / "cloud.0001.pdc").string();
    const std::string ply = (folder / "cloud.0001.ply").string();
    const std::string map = (folder / "cloud.0001.mrmap").string();
    if (!write_cache(cache, points)) {
        (void)std::fprintf(stderr, "bench_cache: %s: cannot be written\n", cache.c_str());
        return EXIT_FAILURE;
    }
    const auto bytes = static_cast<double>(std::filesystem::file_size(cache));
    std::vector<Work> works;
    works.push_back({"plain read", 0, [&] { plain_read(cache); }});
    works.push_back({"info", 2, [&] {
                         Findings findings;
                         const OpenedCloud opened = open_cloud(cache, findings);
                         if (measure(*opened.cloud, {}).ranges.size() != 7) std::abort();
                     }});
    works.push_back({"plain copy", 0,
                     [&] {
                         std::filesystem::copy_file(
                             cache, ply, std::filesystem::copy_options::overwrite_existing);
                     },
                     ply});
    works.push_back({"pdc to ply", 3, [&] { convert(cache, ply, Format::ply); }, ply});
    works.push_back({"pdc to mrmap", 0, [&] { convert(cache, map, Format::mrmap); }, map});
    for (int round = 0; round < rounds; ++round) {
        for (Work& work : works) {
            if (!only.empty() && only != work.name) continue;
            if (!work.output.empty()) std::filesystem::remove(work.output);
            const double processor = processor_seconds();
            const auto start = std::chrono::steady_clock::now();
            work.run();
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            if (took.count() < work.best) {
                work.best = took.count();
                work.processor = processor_seconds() - processor;
            }
        }
    }
    std::filesystem::remove_all(folder);
    std::printf("%d points, %.0f MB, best of %d; info on %d threads, ply on 2 (one writes), a map "
                "on those of its search tree\n",
                points, bytes * 1e-6, rounds, worker_count());
    const double floor = works[0].best;
    for (const Work& work : works) {
        std::printf("%-13s %7.1f ms  processor %7.1f ms  %5.2f GB/s  %5.2f times the plain read",
                    work.name, work.best * 1e3, work.processor * 1e3, bytes / work.best * 1e-9,
                    work.best / floor);
        if (work.aim > 0) std::printf(" (aim %.0f)", work.aim);
        std::printf("\n");
    }
    std::printf("ratio: info %.2f, pdc to ply %.2f, pdc to mrmap %.2f times the plain read\n",
                works[1].best / floor, works[3].best / floor, works[4].best / floor);
    return EXIT_SUCCESS;
}
