// A picture of 1920 x 1080 that is read back from a million points, as a user renders it.
//
// A hilly sheet that fills the view is baked (1000 x 1000 pixels), then rendered with vx_pc_read as
// its only shading, one eye ray and one lookup per pixel; beside it the same picture in a constant
// color, which is what the rays alone cost. Figures come from the line that vx_render prints.
#include "bench/ratio.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr int kBake = 1000; // pixels per side of the bake: a million points
constexpr int kGrid = 400;  // quads per side of the sheet

// The sheet covers -2..2 in x and y and stands 4 in front of the camera.
void write_sheet(std::ofstream& out) {
    out << "object \"sheet\" visible on shadow 3 trace on tagged on trilist vertex "
        << (kGrid + 1) * (kGrid + 1) << " p n triangle " << 2 * kGrid * kGrid << " [\n";
    char text[160];
    for (int j = 0; j <= kGrid; ++j) {
        for (int i = 0; i <= kGrid; ++i) {
            const double x = 4.0 * i / kGrid - 2;
            const double y = 4.0 * j / kGrid - 2;
            const double z = 0.1 * std::sin(3 * x) * std::cos(2.5 * y);
            const double dx = 0.3 * std::cos(3 * x) * std::cos(2.5 * y);
            const double dy = -0.25 * std::sin(3 * x) * std::sin(2.5 * y);
            const double length = std::sqrt(dx * dx + dy * dy + 1);
            const int n = std::snprintf(text, sizeof text, "%.9g %.9g %.9g %.9g %.9g %.9g\n", x, y,
                                        z, -dx / length, -dy / length, 1 / length);
            out.write(text, n);
        }
    }
    out << "] [\n";
    for (int j = 0; j < kGrid; ++j) {
        for (int i = 0; i < kGrid; ++i) {
            const int a = j * (kGrid + 1) + i;
            const int c = a + kGrid + 1;
            out << "0 " << a << ' ' << a + 1 << ' ' << c + 1 << "\n0 " << a << ' ' << c + 1 << ' '
                << c << '\n';
        }
    }
    out << "] end trilist end object\n";
}

void write_scene(const std::filesystem::path& file, const std::string& shaders,
                 const std::string& picture, int width, int height, const std::string& lens) {
    std::ofstream out(file);
    out << "verbose 5\nlink \"base.so\"\nlink \"vx_pc.so\"\n$include <base.mi>\n$include "
           "<vx_pc.mi>\noptions \"opt\" object space samples 0 0 trace on trace depth 2 2 4 "
           "filter box 1 1 jitter 0 face both end options\n"
        << shaders << "camera \"cam\" output \"rgba\" \"png\" \"" << picture
        << "\" focal 1 aperture 0.9 aspect " << static_cast<double>(width) / height
        << " resolution " << width << ' ' << height << ' ' << lens
        << " end camera\ninstance \"camInst\" \"cam\" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -4 1 "
           "end instance\n";
    write_sheet(out);
    out << "instance \"inst\" \"sheet\" material [ \"mtl\" ] end instance\n"
           "instgroup \"world\" \"camInst\" \"inst\" end instgroup\n"
           "render \"world\" \"camInst\" \"opt\"\n";
}

struct Run {
    double seconds = 0;
    double rays = 0;
};

// Runs the scene; the figures are those of the picture alone.
Run render(const std::filesystem::path& folder, const std::string& scene, int threads) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) std::abort();
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], 1);
        dup2(ends[1], 2);
        close(ends[0]);
        close(ends[1]);
        if (chdir(folder.c_str()) != 0) _exit(127);
        execl(VX_RENDER_PROGRAM, VX_RENDER_PROGRAM, "-threads", std::to_string(threads).c_str(),
              scene.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(ends[1]);
    FILE* const lines = fdopen(ends[0], "r");
    std::array<char, 4096> line{};
    Run run;
    while (std::fgets(line.data(), line.size(), lines) != nullptr) {
        const char* const text = std::strstr(line.data(), "info: ");
        const char* const rays = text != nullptr ? std::strstr(text, " eye rays in ") : nullptr;
        if (rays != nullptr) {
            run.rays = std::strtod(text + std::strlen("info: "), nullptr);
            run.seconds = std::strtod(rays + std::strlen(" eye rays in "), nullptr);
        }
    }
    (void)std::fclose(lines);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || run.rays == 0 || run.seconds <= 0) {
        (void)std::fprintf(stderr, "bench_readback: vx_render %s failed (status %d)\n",
                           scene.c_str(), status);
        std::exit(EXIT_FAILURE);
    }
    return run;
}

} // namespace

int main() {
    const std::filesystem::path base =
        std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
    const std::filesystem::path folder = base / ("vx_bench_readback_" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);

    write_scene(folder / "bake.mi",
                "material \"mtl\" opaque \"vx_pc_tag\" ( \"color\" 1 1 1 1, \"bakeColor\" 0.2 0.5 "
                "0.8 1, \"tag\" 1 ) end material\n",
                "bake.png", kBake, kBake,
                "lens \"vx_pc_write\" ( \"layers\" 1, \"outputMode\" 0, \"frame\" 1, "
                "\"mapFileName\" \"cloud.0001.mrmap\" )");
    // Lit by nothing but what the shader in "ambient" gives.
    const std::string shown = "shader \"shown\" \"mib_illum_lambert\" ( \"ambience\" 1 1 1 1, "
                              "\"ambient\" %, \"mode\" 0, \"lights\" [ ] )\nmaterial \"mtl\" "
                              "opaque = \"shown\" end material\n";
    const auto with = [&](const std::string& ambient) {
        std::string text = shown;
        return text.replace(text.find('%'), 1, ambient);
    };
    write_scene(folder / "plain.mi", with("0.2 0.5 0.8 1"), "plain.png", 1920, 1080, "");
    render(folder, "bake.mi", 1);
    std::printf("1920 x 1080 read back from a million points, label and cone on\n");
    for (const int most : {16, 500}) {
        // A third more points within the radius than wanted, but at least 5 times the distance
        // between points, which is 3.6 / 1000.
        const double spacings = std::max(5.0, std::sqrt(4.0 / 3.0 * most / 3.14159265));
        const std::string reader =
            "shader \"cloud\" \"vx_pc_read\" ( \"fileName\" \"cloud.0001.mrmap\", \"frame\" 1, "
            "\"radius\" " +
            std::to_string(0.0036 * spacings) + ", \"maxPoints\" " + std::to_string(most) +
            ", \"useLabels\" on, \"labels\" \"0-2\", \"falloff\" 1 1 "
            "1 1, \"scale\" 1 1 1 1, \"minAngle\" 0, \"maxAngle\" 60 )\n";
        write_scene(folder / "read.mi", reader + with("= \"cloud.outColor\""), "read.png", 1920,
                    1080, "");
        double first = 0;
        for (const int threads : {1, 2}) {
            Run read;
            Run plain;
            for (int round = 0; round < (most > 100 ? 1 : 3); ++round) {
                const Run r = render(folder, "read.mi", threads);
                const Run p = render(folder, "plain.mi", threads);
                if (round == 0 || r.seconds < read.seconds) read = r;
                if (round == 0 || p.seconds < plain.seconds) plain = p;
            }
            const double lookups = read.seconds - plain.seconds;
            std::printf(
                "  %d points, %d thread%s  %.2f s, %.3f million rays/s, each with a lookup; "
                "the rays alone %.2f s, so %.3f million lookups/s\n",
                most, threads, threads == 1 ? " " : "s", read.seconds,
                read.rays / read.seconds / 1e6, plain.seconds,
                lookups > 0 ? read.rays / lookups / 1e6 : 0.0);
            if (threads == 1)
                first = read.seconds;
            else
                vx::bench::print_ratio("readback: " + std::to_string(most) +
                                           " points, two threads, of one",
                                       first / read.seconds);
        }
    }
    std::filesystem::remove_all(folder);
    return EXIT_SUCCESS;
}
