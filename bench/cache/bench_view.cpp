// Pictures of a baked cache, 1920 x 1080 with 9 samples per pixel: all processors against one
// thread that draws disc by disc. Both must give the same picture.
//
//     bench_view [POINTS [ROUNDS]]    default: 10000000 2; from a thousand to a hundred million
//
// The variants take turns and the fastest run of each counts, so that a busy neighbor hits all
// alike.
#include "bench/cache/baked.h"
#include "bench/ratio.h"
#include "cache/cloud/parallel.h"
#include "cache/formats/format.h"
#include "cache/picture/raster.h"
#include "cache/verbs/view_camera.h"
#include "cache/verbs/view_points.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>

#include <unistd.h>

namespace {

using namespace vx::cache;
using vx::bench::now;

// The picture of one thread, lit as draw_cloud() does.
Picture draw_in_order(ViewCloud& cloud, const ViewStyle& style, const Camera& camera,
                      const ColorScale& scale) {
    Picture picture(camera.width, camera.height, style.background);
    DiscRaster raster(camera, style.samples, 0, camera.height);
    cloud.each([&](const ViewCloud::Point& p, ColorReader& colors) {
        Disc disc{transform_point(camera.to_camera, p.position),
                  normalized(transform_direction(camera.to_camera, p.normal)), p.radius,
                  colors.color(p.index, scale)};
        const auto share = static_cast<float>(shade(disc.normal, normalized(disc.center) * -1));
        for (float& channel : disc.color)
            channel *= share;
        raster.draw(disc);
    });
    raster.resolve(picture, style.background);
    return picture;
}

} // namespace

int main(int argc, char** argv) {
    const int points = argc > 1 ? std::stoi(argv[1]) : 10000000;
    const int rounds = argc > 2 ? std::stoi(argv[2]) : 2;
    if (points < 1000 || rounds < 1) {
        (void)std::fprintf(stderr, "usage: bench_view [POINTS [ROUNDS]]\n");
        return EXIT_FAILURE;
    }
    const std::string cache =
        (std::filesystem::temp_directory_path() / ("vx_bench_view_" + std::to_string(::getpid())))
            .string() +
        ".pdc";
    if (!vx::bench::write_cache(cache, points)) {
        (void)std::fprintf(stderr, "bench_view: %s: cannot be written\n", cache.c_str());
        return EXIT_FAILURE;
    }
    ViewOptions options;
    options.camera.width = 1920;
    options.camera.height = 1080;
    options.style.radius = 1.2 / std::sqrt(static_cast<double>(points));

    double whole = std::numeric_limits<double>::infinity();
    double all = whole;
    double one = whole;
    double again = whole;
    bool same = true;
    for (int round = 0; round < rounds; ++round) {
        Findings findings;
        const double start = now();
        const OpenedCloud opened = open_cloud(cache, findings);
        ViewCloud cloud(*opened.cloud, options.style);
        SequenceSummary summary;
        summary.add(cloud);
        const Camera camera = place_camera(options, summary, 0, [&](const auto& f) {
                                  cloud.each([&](const ViewCloud::Point& p, ColorReader&) {
                                      f(p.position, p.radius);
                                  });
                              }).camera;
        const double placed = now();
        const DrawnCloud drawn = draw_cloud(cloud, options.style, camera, summary.scale, {});
        const double end = now();
        const Picture expected = draw_in_order(cloud, options.style, camera, summary.scale);
        const double slow = now();
        cloud.keep(summary.scale);
        const double kept = now();
        const DrawnCloud repeated = draw_cloud(cloud, options.style, camera, summary.scale, {});
        again = std::min(again, now() - kept);
        whole = std::min(whole, end - start);
        all = std::min(all, end - placed);
        one = std::min(one, slow - end);
        same = same && drawn.picture.pixels == expected.pixels &&
               repeated.picture.pixels == expected.pixels;
    }
    std::filesystem::remove(cache);
    double load = 0;
    (void)::getloadavg(&load, 1);
    std::printf("%d points, 1920 x 1080, best of %d, %d processors, load %.1f\n", points, rounds,
                processor_count(), load);
    std::printf("open, survey and draw %.1f ms; draw %.1f ms, from memory %.1f ms, in order on one "
                "thread %.1f ms\n",
                whole * 1e3, all * 1e3, again * 1e3, one * 1e3);
    using vx::bench::Aim;
    using vx::bench::print_ratio;
    print_ratio("picture of a cache: draw / draw on one thread", all / one, Aim::at_most,
                1.2 / processor_count());
    const char* const seconds = "picture of a cache: seconds per 10 million points";
    // The picture itself takes most of the time if there are few points.
    if (points >= 10000000) {
        print_ratio(seconds, whole / points * 1e7, Aim::at_most, 3);
    } else {
        print_ratio(seconds, whole / points * 1e7);
    }
    if (!same) std::printf("FAILURE: the pictures differ\n");
    return same ? EXIT_SUCCESS : EXIT_FAILURE;
}
