// How fast scene text is read: megabytes per second of generated scenes, from a file in a folder
// that should lie in memory.
//
//     bench_scene [--megabytes N] [--folder DIR] [--runs N]
#include "bench/ratio.h"
#include "host/scene/reader.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <string>

namespace {

using namespace vx::scene;

// Counts what arrives, so that nothing of the work can be left out.
struct Counter : SceneReceiver {
    std::size_t triangles = 0, vertices = 0, shaders = 0;

    void on_link(const std::string&, Location) override {}
    void on_declare(const Declaration&) override {}
    void on_verbose(int) override {}
    void on_echo(const std::string&) override {}
    void on_options(const Options&) override {}
    void on_camera(const Camera&) override {}
    void on_light(const Light&) override {}
    void on_texture(const Texture&) override {}
    void on_material(const Material&) override {}
    void on_shader(const NamedShader&) override { ++shaders; }
    void on_data(const UserData&) override {}
    void on_object(Object&& object) override {
        triangles += object.mesh->triangles.size();
        vertices += object.mesh->positions.size();
    }
    void on_instance(const Instance&) override {}
    void on_group(const InstanceGroup&) override {}
    void on_delete(const std::string&, Location) override {}
    void on_call(const ShaderList&, const std::string&, const std::string&, Location) override {}
    bool on_render(const std::string&, const std::string&, const std::string&, Location) override {
        return true;
    }
};

constexpr int kSide = 300; // vertices along each side of one object's grid

// A wavy height field: positions and normals with the digits that exporters print.
struct Wave {
    double x, y, z, nx, ny, nz;
};
Wave wave(int i, int j, int object) {
    const double u = double(i) / (kSide - 1), v = double(j) / (kSide - 1);
    const double phase = 2 * std::numbers::pi * (3 * u + 2 * v) + object;
    const double dx = -0.6 * std::numbers::pi * std::cos(phase) * 3 / 10;
    const double dz = -0.6 * std::numbers::pi * std::cos(phase) * 2 / 10;
    const double length = std::sqrt(dx * dx + 1 + dz * dz);
    return {10 * u, 0.3 * std::sin(phase) + object, 10 * v, dx / length, 1 / length, dz / length};
}

void print(std::string& out, double a, double b, double c) {
    char line[80];
    const int n = std::snprintf(line, sizeof line, "%.7g %.7g %.7g\n", a, b, c);
    out.append(line, static_cast<std::size_t>(n));
}

void print_quads(std::string& out, const char* head) {
    char line[80];
    for (int j = 0; j + 1 < kSide; ++j)
        for (int i = 0; i + 1 < kSide; ++i) {
            const int a = j * kSide + i;
            const int n = std::snprintf(line, sizeof line, "%s %d %d %d %d\n", head, a, a + kSide,
                                        a + kSide + 1, a + 1);
            out.append(line, static_cast<std::size_t>(n));
        }
}

std::string polygon_object(int object) {
    std::string out = "object \"grid" + std::to_string(object) +
                      "\"\n visible on shadow 3 trace on tagged on\n group\n";
    for (int j = 0; j < kSide; ++j)
        for (int i = 0; i < kSide; ++i) {
            const Wave w = wave(i, j, object);
            print(out, w.x, w.y, w.z);
            print(out, w.nx, w.ny, w.nz);
            print(out, double(i) / kSide, double(j) / kSide, 0);
        }
    char line[80];
    for (int k = 0; k < kSide * kSide; ++k) {
        const int n =
            std::snprintf(line, sizeof line, "v %d n %d t %d\n", 3 * k, 3 * k + 1, 3 * k + 2);
        out.append(line, static_cast<std::size_t>(n));
    }
    print_quads(out, object % 2 == 0 ? "p 0" : "c 0");
    return out + "end group\nend object\n";
}

std::string trilist_object(int object) {
    constexpr int kCells = (kSide - 1) * (kSide - 1);
    std::string out = "object \"list" + std::to_string(object) +
                      "\"\n visible on shadow 3 trace on tagged on\n trilist vertex " +
                      std::to_string(kSide * kSide) + " p n t 2 triangle " +
                      std::to_string(2 * kCells) + "\n[";
    char line[160];
    for (int j = 0; j < kSide; ++j)
        for (int i = 0; i < kSide; ++i) {
            const Wave w = wave(i, j, object);
            const int n =
                std::snprintf(line, sizeof line, "%.7g %.7g %.7g %.7g %.7g %.7g %.7g %.7g\n", w.x,
                              w.y, w.z, w.nx, w.ny, w.nz, double(i) / kSide, double(j) / kSide);
            out.append(line, static_cast<std::size_t>(n));
        }
    out += "]\n[";
    for (int j = 0; j + 1 < kSide; ++j)
        for (int i = 0; i + 1 < kSide; ++i) {
            const int a = j * kSide + i;
            const int n = std::snprintf(line, sizeof line, "0 %d %d %d\n0 %d %d %d\n", a, a + kSide,
                                        a + kSide + 1, a, a + kSide + 1, a + 1);
            out.append(line, static_cast<std::size_t>(n));
        }
    return out + "]\nend trilist\nend object\n";
}

std::string shaders(int number) {
    std::string out;
    for (int i = 0; i < 10000; ++i)
        out += "shader \"s" + std::to_string(number) + "_" + std::to_string(i) +
               "\" \"mib_illum_phong\" (\n    \"ambience\" 1 1 1, \"ambient\" 0.05 0.05 0.05, "
               "\"diffuse\" 0.7 0.3 0.2,\n    \"exponent\" 20.5, \"mode\" 0, \"lights\" [ "
               "\"lamp1Inst\", \"lamp2Inst\" ] )\n";
    return out;
}

bool generate(const std::string& path, std::size_t bytes, std::string (*piece)(int)) {
    std::ofstream file(path, std::ios::binary);
    std::size_t written = 0;
    for (int i = 0; written < bytes; ++i) {
        const std::string text = piece(i);
        file << text;
        written += text.size();
    }
    return file.good();
}

} // namespace

int main(int argc, char** argv) {
    std::size_t megabytes = 200;
    std::string folder = std::filesystem::exists("/dev/shm")
                             ? "/dev/shm"
                             : std::filesystem::temp_directory_path().string();
    int runs = 3;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--megabytes")) megabytes = std::stoul(argv[i + 1]);
        if (!std::strcmp(argv[i], "--folder")) folder = argv[i + 1];
        if (!std::strcmp(argv[i], "--runs")) runs = std::stoi(argv[i + 1]);
    }
    struct Case {
        const char* name;
        std::string (*piece)(int);
    };
    constexpr Case kCases[] = {{"polygons, text", polygon_object},
                               {"triangle lists, text", trilist_object},
                               {"shaders", shaders}};
    const std::string path = folder + "/vx_bench_scene.mi";
    std::string summary;
    std::vector<std::pair<std::string, double>> figures;
    bool good = true;
    for (const Case& c : kCases) {
        if (!generate(path, megabytes * 1000000, c.piece)) {
            (void)std::fprintf(stderr, "bench_scene: error: cannot write %s\n", path.c_str());
            return 1;
        }
        const double size = double(std::filesystem::file_size(path)) / 1e6;
        double best = 1e30, best_cpu = 1e30;
        Counter counter;
        for (int run = 0; run < runs; ++run) {
            counter = {};
            Diagnostics diagnostics(
                [](const Diagnostic& d) { (void)std::fprintf(stderr, "%s\n", format(d).c_str()); });
            Substitution substitution;
            const auto start = std::chrono::steady_clock::now();
            const std::clock_t cpu_start = std::clock();
            Reader reader(counter, diagnostics, substitution);
            good = reader.read_file(path) && good;
            const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
            best = std::min(best, time.count());
            best_cpu = std::min(best_cpu, double(std::clock() - cpu_start) / CLOCKS_PER_SEC);
            std::printf("%-22s %7.1f MB in %.3f s: %6.1f MB/s, %zu triangles, %zu shaders\n",
                        c.name, size, time.count(), size / time.count(), counter.triangles,
                        counter.shaders);
        }
        char line[120];
        (void)std::snprintf(line, sizeof line, "%-22s %6.1f MB/s, %6.1f MB per processor second\n",
                            c.name, size / best, size / best_cpu);
        summary += line;
        figures.emplace_back(std::string("scene: ") + c.name + ", MB per second", size / best);
    }
    std::filesystem::remove(path);
    std::printf("\nscene reading, one thread, best of %d:\n%s", runs, summary.c_str());
    for (const auto& [name, rate] : figures)
        vx::bench::print_ratio(name, rate, vx::bench::Aim::at_least, 100);
    return good ? 0 : 1;
}
