// A whole bake through vx_render and the library that is shipped, against the bare Embree loop that
// probes the same rays.
//
// Three tagged sheets of 333 000 triangles, 1000 x 1000 pixels, 8 layers, constant color, one
// thread. The program is run as a user runs it; the moments come from the lines that it prints: the
// pass prints one every tenth of the image, then the number of points, then one line per written
// file.
#include "bench/ratio.h"

#include <embree3/rtcore.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr int kSize = 1000; // pixels per side
constexpr int kGrid = 408;  // quads per side of a sheet: 332 928 triangles
constexpr int kSheets = 3;
constexpr int kLayers = 8;
constexpr float kStep = 0.005f; // how far the pass moves past a hit

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

float sheet_height(int sheet, float x, float y) {
    return -static_cast<float>(sheet) + 0.1f * std::sin(3 * x) * std::cos(2 * y);
}

std::vector<float> sheet_points(int sheet) {
    std::vector<float> points;
    for (int j = 0; j <= kGrid; ++j) {
        for (int i = 0; i <= kGrid; ++i) {
            const float x = 8.0f * (static_cast<float>(i) / kGrid - 0.5f);
            const float y = 8.0f * (static_cast<float>(j) / kGrid - 0.5f);
            points.insert(points.end(), {x, y, sheet_height(sheet, x, y)});
        }
    }
    return points;
}

std::vector<unsigned> sheet_triangles() {
    std::vector<unsigned> triangles;
    for (unsigned j = 0; j < kGrid; ++j) {
        for (unsigned i = 0; i < kGrid; ++i) {
            const unsigned a = j * (kGrid + 1) + i;
            const unsigned c = a + kGrid + 1;
            triangles.insert(triangles.end(), {a, a + 1, c + 1, a, c + 1, c});
        }
    }
    return triangles;
}

void write_scene(const std::filesystem::path& file, int output_mode) {
    std::ofstream out(file);
    out << "verbose 5\nlink \"base.so\"\nlink \"vx_pc.so\"\n$include <base.mi>\n$include "
           "<vx_pc.mi>\n"
           "options \"opt\" object space samples 0 0 trace on trace depth 2 2 4 face both end "
           "options\n"
           "camera \"cam\" output \"rgba\" \"png\" \"out.png\" focal 1 aperture 1 aspect 1 "
           "resolution "
        << kSize << ' ' << kSize << "\n  lens \"vx_pc_write\" ( \"layers\" " << kLayers
        << ", \"outputMode\" " << output_mode
        << ", \"frame\" 1, \"radius\" 0.01, \"pdcFileName\" \"cloud.0001.pdc\", \"mapFileName\" "
           "\"cloud.0001.mrmap\" )\nend camera\n"
           "instance \"camInst\" \"cam\" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -5 1 end instance\n";
    const std::vector<unsigned> triangles = sheet_triangles();
    for (int sheet = 0; sheet < kSheets; ++sheet) {
        const std::vector<float> points = sheet_points(sheet);
        out << "material \"mtl" << sheet
            << "\" opaque \"vx_pc_tag\" ( \"color\" 1 1 1 1, \"bakeColor\" "
            << "0.5 0.5 0.5 1, \"tag\" " << sheet << " ) end material\nobject \"sheet" << sheet
            << "\" visible on shadow 3 trace on tagged on trilist vertex " << points.size() / 3
            << " p triangle " << triangles.size() / 3 << " [\n";
        char text[64];
        for (std::size_t i = 0; i < points.size(); i += 3) {
            const int length = std::snprintf(
                text, sizeof text, "%.9g %.9g %.9g\n", static_cast<double>(points[i]),
                static_cast<double>(points[i + 1]), static_cast<double>(points[i + 2]));
            out.write(text, length);
        }
        out << "] [\n";
        for (std::size_t i = 0; i < triangles.size(); i += 3) {
            out << "0 " << triangles[i] << ' ' << triangles[i + 1] << ' ' << triangles[i + 2]
                << '\n';
        }
        out << "] end trilist end object\ninstance \"inst" << sheet << "\" \"sheet" << sheet
            << "\" material [ \"mtl" << sheet << "\" ] end instance\n";
    }
    out << "instgroup \"world\" \"camInst\" \"inst0\" \"inst1\" \"inst2\" end instgroup\n"
           "render \"world\" \"camInst\" \"opt\"\n";
}

struct BakeRun {
    double pass = 0;   // seconds, scaled from the lines 100 to 900 of 1000
    double output = 0; // seconds from the number of points to the last written file
    long points = 0;
    double peak_mib = 0;
};

BakeRun run_bake(const std::filesystem::path& folder, const char* threads) {
    std::array<int, 2> pipe_ends{};
    if (pipe(pipe_ends.data()) != 0) std::abort();
    const pid_t child = fork();
    if (child == 0) {
        dup2(pipe_ends[1], 1);
        dup2(pipe_ends[1], 2);
        close(pipe_ends[0]);
        close(pipe_ends[1]);
        if (chdir(folder.c_str()) != 0) _exit(127);
        execl(VX_RENDER_PROGRAM, VX_RENDER_PROGRAM, "-threads", threads, "-window", "0", "0", "1",
              "1", "scene.mi", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(pipe_ends[1]);
    FILE* lines = fdopen(pipe_ends[0], "r");
    std::array<char, 4096> line{};
    BakeRun run;
    double first = 0;
    double last = 0;
    double counted = 0;
    while (std::fgets(line.data(), line.size(), lines) != nullptr) {
        const double moment = now();
        const char* text = std::strstr(line.data(), "vx_pc_write: ");
        if (text == nullptr) continue;
        text += std::strlen("vx_pc_write: ");
        if (std::strncmp(text, "line 100 ", 9) == 0) first = moment;
        if (std::strncmp(text, "line 900 ", 9) == 0) last = moment;
        if (std::strstr(text, "points written") != nullptr) {
            counted = moment;
            run.points = std::strtol(text, nullptr, 10);
        }
        if (std::strncmp(text, "Writing File", 12) == 0) run.output = moment - counted;
    }
    (void)std::fclose(lines);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || first == 0 || last == 0) {
        (void)std::fprintf(stderr, "bench_bake: the bake failed (status %d)\n", status);
        std::exit(1);
    }
    run.pass = (last - first) / 0.8;
    run.peak_mib = static_cast<double>(usage.ru_maxrss) / 1024;
    return run;
}

struct LoopRun {
    double seconds = 0;
    long hits = 0;
};

class BareLoop {
  public:
    BareLoop() : m_device(rtcNewDevice(nullptr)), m_scene(rtcNewScene(m_device)) {
        const std::vector<unsigned> triangles = sheet_triangles();
        for (int sheet = 0; sheet < kSheets; ++sheet) {
            const std::vector<float> points = sheet_points(sheet);
            RTCGeometry mesh = rtcNewGeometry(m_device, RTC_GEOMETRY_TYPE_TRIANGLE);
            void* vertex = rtcSetNewGeometryBuffer(mesh, RTC_BUFFER_TYPE_VERTEX, 0,
                                                   RTC_FORMAT_FLOAT3, 12, points.size() / 3);
            std::memcpy(vertex, points.data(), points.size() * sizeof(float));
            void* index = rtcSetNewGeometryBuffer(mesh, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                                  12, triangles.size() / 3);
            std::memcpy(index, triangles.data(), triangles.size() * sizeof(unsigned));
            rtcCommitGeometry(mesh);
            rtcAttachGeometry(m_scene, mesh);
            rtcReleaseGeometry(mesh);
        }
        rtcCommitScene(m_scene);
    }
    ~BareLoop() {
        rtcReleaseScene(m_scene);
        rtcReleaseDevice(m_device);
    }
    BareLoop(const BareLoop&) = delete;
    BareLoop& operator=(const BareLoop&) = delete;

    LoopRun run() const {
        LoopRun result;
        const double start = now();
        for (int y = 0; y < kSize; ++y) {
            for (int x = 0; x < kSize; ++x) {
                std::array<float, 3> d = {(static_cast<float>(x) + 0.5f) / kSize - 0.5f,
                                          (static_cast<float>(y) + 0.5f) / kSize - 0.5f, -1.0f};
                const float length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
                for (float& component : d)
                    component /= length;
                std::array<float, 3> origin = {0, 0, 5};
                for (int layer = 0; layer < kLayers; ++layer) {
                    RTCRayHit query{};
                    query.ray = {origin[0],   origin[1], origin[2],
                                 0,           d[0],      d[1],
                                 d[2],        0,         std::numeric_limits<float>::infinity(),
                                 0xffffffffu, 0,         0};
                    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
                    RTCIntersectContext context;
                    rtcInitIntersectContext(&context);
                    rtcIntersect1(m_scene, &context, &query);
                    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) break;
                    ++result.hits;
                    for (std::size_t k = 0; k < 3; ++k) {
                        origin[k] += d[k] * query.ray.tfar;
                        origin[k] += d[k] * kStep;
                    }
                }
            }
        }
        result.seconds = now() - start;
        return result;
    }

  private:
    RTCDevice m_device;
    RTCScene m_scene;
};

} // namespace

int main() {
    const std::filesystem::path base =
        std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
    const std::filesystem::path folder = base / ("vx_bench_bake_" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);

    const BareLoop loop;
    LoopRun bare;
    BakeRun bake;
    BakeRun nothing_written;
    double two_threads_output = std::numeric_limits<double>::infinity();
    bare.seconds = bake.pass = bake.output = std::numeric_limits<double>::infinity();
    for (int round = 0; round < 3; ++round) {
        const LoopRun l = loop.run();
        if (l.seconds < bare.seconds) bare = l;
        write_scene(folder / "scene.mi", 4);
        nothing_written = run_bake(folder, "1");
        write_scene(folder / "scene.mi", 2);
        const BakeRun b = run_bake(folder, "1");
        bake.points = b.points;
        bake.peak_mib = b.peak_mib;
        bake.pass = std::min({bake.pass, b.pass, nothing_written.pass});
        bake.output = std::min(bake.output, b.output);
        // The pass is one thread's work; the map is built by as many as there are.
        two_threads_output = std::min(two_threads_output, run_bake(folder, "2").output);
    }
    // The scene alone: the same program without the lens shader.
    const double file_mib =
        static_cast<double>(std::filesystem::file_size(folder / "cloud.0001.pdc")) / 1048576;
    {
        std::ifstream in(folder / "scene.mi");
        std::string text((std::istreambuf_iterator<char>(in)), {});
        const std::string open = "\"vx_pc_write\" ( ";
        text.insert(text.find(open) + open.size(), "\"disable\" on, ");
        std::ofstream(folder / "off.mi") << text;
    }
    std::filesystem::rename(folder / "off.mi", folder / "scene.mi");
    const pid_t child = fork();
    if (child == 0) {
        if (chdir(folder.c_str()) != 0) _exit(127);
        execl(VX_RENDER_PROGRAM, VX_RENDER_PROGRAM, "-threads", "1", "-verbose", "2", "-window",
              "0", "0", "1", "1", "scene.mi", static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const double scene_mib = static_cast<double>(usage.ru_maxrss) / 1024;
    std::filesystem::remove_all(folder);

    const double bake_rate = static_cast<double>(bake.points) / bake.pass;
    const double bare_rate = static_cast<double>(bare.hits) / bare.seconds;
    std::printf("bake, 1000 x 1000, 8 layers, three sheets of 332928 triangles, one thread\n");
    std::printf("  points                 %ld (the bare loop: %ld hits)\n", bake.points, bare.hits);
    std::printf("  pass                   %.3f s, %.2f million points/s\n", bake.pass,
                bake_rate / 1e6);
    std::printf("  bare Embree loop       %.3f s, %.2f million hits/s\n", bare.seconds,
                bare_rate / 1e6);
    std::printf("  output stage           %.3f s, with two threads %.3f s (cache of %.0f MiB and "
                "map)\n",
                bake.output, two_threads_output, file_mib);
    std::printf(
        "  peak memory            %.0f MiB, %.0f MiB of it the scene (same program, writer off)\n",
        bake.peak_mib, scene_mib);
    using vx::bench::Aim;
    using vx::bench::print_ratio;
    print_ratio("bake: points per second / hits of the bare Embree loop", bake_rate / bare_rate,
                Aim::at_least, 0.45);
    print_ratio("bake: output stage / pass", bake.output / bake.pass);
    print_ratio("bake: output stage with two threads / pass", two_threads_output / bake.pass,
                Aim::at_most, 0.35);
    print_ratio("bake: bytes per point beside the scene",
                (bake.peak_mib - scene_mib) * 1048576 / static_cast<double>(bake.points),
                Aim::at_most, 260);
    return 0;
}
