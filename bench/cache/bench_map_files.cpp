// Map files: opening, info, and the conversion of a baked cache, each against plain system calls on
// the same files and the building of a map of a million points, page cache warm.
//
//     bench_map_files [POINTS [ROUNDS]]    default: 10000000 3; from a thousand to a hundred
//     million
//
// The variants take turns and the fastest run of each counts, so that a busy neighbor hits all
// alike. Files are in $TMPDIR, or in /tmp.
#include "bench/cache/baked.h"
#include "bench/ratio.h"
#include "cache/formats/format.h"
#include "cache/verbs/statistics.h"
#include "maps/interface.h"
#include "mi_shader_if.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace vx::cache;
using namespace mi::shader_v3;
using vx::bench::now;

int failures = 0;

void expect(bool good, const char* what) {
    if (good) return;
    ++failures;
    std::printf("FAILURE: %s\n", what);
}

double kernel_seconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(usage.ru_stime.tv_usec);
}

// Peak of the resident memory since the last reset, in bytes; 0 where the system does not tell.
void reset_peak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

double peak_bytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0) return 1024 * std::stod(line.substr(6));
    }
    return 0;
}

// Writes as many bytes as the map has, and brings them to the disk, as a map is written.
void plain_write(const std::string& path, std::uintmax_t bytes) {
    static const std::vector<char> kBlock(std::size_t{4} << 20, 'x');
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    for (std::uintmax_t left = bytes; left > 0;) {
        const ssize_t done =
            ::write(fd, kBlock.data(), std::min<std::uintmax_t>(left, kBlock.size()));
        if (done <= 0) {
            expect(false, "plain write");
            break;
        }
        left -= static_cast<std::uintmax_t>(done);
    }
    ::fsync(fd);
    ::close(fd);
}

void convert(const std::string& from, const std::string& to) {
    Findings findings;
    const OpenedCloud opened = open_cloud(from, findings);
    WriteOptions options;
    options.force = true;
    options.all_fields = false;
    write_cloud(*opened.cloud, to, Format::mrmap, options);
}

// Appends the first points of a map to another one.
void append_part(const Access_map& map, miUint points, Edit_map& part) {
    Map_element element;
    for (miUint i = 0; i < points; ++i) {
        map->get(i, element);
        part->append(element);
    }
}

struct Best {
    const char* name;
    double seconds = std::numeric_limits<double>::infinity();
    double kernel = 0;
    template <typename F>
    void run(const F& f) {
        const double system = kernel_seconds();
        const double start = now();
        f();
        const double took = now() - start;
        if (took >= seconds) return;
        seconds = took;
        kernel = kernel_seconds() - system;
    }
    void print() const {
        std::printf("%-26s %9.2f ms, %9.2f ms in the kernel\n", name, seconds * 1e3, kernel * 1e3);
    }
};

// The aims are for maps that are larger than the processor's cache.
void print(const char* name, double ratio, double aim, bool is_large) {
    if (is_large) {
        vx::bench::print_ratio(name, ratio, vx::bench::Aim::at_most, aim);
    } else {
        vx::bench::print_ratio(name, ratio);
    }
}

} // namespace

int main(int argc, char** argv) {
    const int points = argc > 1 ? std::stoi(argv[1]) : 10000000;
    const int rounds = argc > 2 ? std::stoi(argv[2]) : 3;
    if (points < 1000 || rounds < 1) {
        (void)std::fprintf(stderr, "usage: bench_map_files [POINTS [ROUNDS]]\n");
        return EXIT_FAILURE;
    }
    const auto folder = std::filesystem::temp_directory_path() /
                        ("vx_bench_map_files_" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    const std::string cache = (folder / "cloud.pdc").string();
    const std::string map = (folder / "cloud.mrmap").string();
    const std::string copy = (folder / "copy").string();
    if (!vx::bench::write_cache(cache, points)) {
        (void)std::fprintf(stderr, "bench_map_files: %s: cannot be written\n", cache.c_str());
        return EXIT_FAILURE;
    }
    convert(cache, map);
    const auto bytes = std::filesystem::file_size(map);
    const miUint built = static_cast<miUint>(std::min(points, 1000000));

    Best read_cache{"plain read of the cache"};
    Best read_map{"plain read of the map"};
    Best write_map{"plain write of the map"};
    Best build{"build of up to a million"};
    Best open{"open"};
    Best info{"info"};
    Best conversion{"convert"};
    double resident = std::numeric_limits<double>::infinity();
    for (int round = 0; round < rounds; ++round) {
        read_cache.run([&] { vx::bench::plain_read(cache); });
        read_map.run([&] { vx::bench::plain_read(map); });
        open.run([&] { expect(Access_map(map.c_str())->size() == miUint(points), "size"); });
        info.run([&] {
            Findings findings;
            const OpenedCloud opened = open_cloud(map, findings);
            const Statistics s = measure(*opened.cloud, {});
            std::int64_t counted = 0;
            for (const auto& [label, count] : s.labels)
                counted += count;
            expect(counted == points && s.ranges.size() == 5, "info");
        });
        {
            const Access_map whole(map.c_str());
            Edit_map part{Map_declaration(whole)};
            append_part(whole, built, part);
            build.run([&] { part->consolidate(0.6f); });
        }
        write_map.run([&] { plain_write(copy, bytes); });
        std::filesystem::remove(copy);
        reset_peak();
        conversion.run([&] { convert(cache, copy); });
        resident = std::min(resident, peak_bytes());
        if (round == 0) {
            const std::string again = "cmp -s '" + map + "' '" + copy + "'";
            expect(std::system(again.c_str()) == 0, "the same map again");
        }
        std::filesystem::remove(copy);
    }
    std::filesystem::remove_all(folder);

    std::printf("%d points, map of %.0f MB, best of %d\n", points,
                static_cast<double>(bytes) * 1e-6, rounds);
    for (const Best* best : {&read_cache, &read_map, &write_map, &build, &open, &info, &conversion})
        best->print();
    const bool is_large = points >= 10000000;
    const double scaled = build.seconds * points / built;
    const double parts = read_cache.seconds + write_map.seconds + scaled;
    print("map of a cache: open / plain read", open.seconds / read_map.seconds, 0.5, is_large);
    print("map of a cache: info / plain read", info.seconds / read_map.seconds, 2, is_large);
    print("map of a cache: convert / (plain read + plain write + build)",
          conversion.seconds / parts, 1.3, is_large);
    print("map of a cache: memory of convert / map file", resident / static_cast<double>(bytes),
          1.35, is_large);
    return failures > 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
