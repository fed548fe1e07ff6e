// Eye rays per second with a constant material on a million triangles: the whole renderer (frame
// loop, states, material shader, filter) against the bare loop over the same rays in the same tree
// settings. Prints rates for one and two threads and the ratios.
#include "run_scene.h"

#include "bench/ratio.h"

#include "host/render/camera_ray.h"
#include "host/render/sampler.h"

#include <embree3/rtcore.h>
#include <fmt/format.h>
#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <limits>
#include <vector>

namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 960;
constexpr int kCells = 708; // 708 * 708 * 2 triangles: a million

struct Terrain {
    std::vector<float> positions;
    std::vector<std::uint32_t> triangles;
};

// Hills in the plane y = 0, 20 x 20 units.
Terrain terrain() {
    Terrain t;
    for (int j = 0; j <= kCells; ++j)
        for (int i = 0; i <= kCells; ++i) {
            const float x = 20.0f * (static_cast<float>(i) / kCells - 0.5f);
            const float z = 20.0f * (static_cast<float>(j) / kCells - 0.5f);
            t.positions.insert(t.positions.end(),
                               {x, 0.6f * std::sin(1.7f * x) * std::cos(1.3f * z), z});
        }
    for (int j = 0; j < kCells; ++j)
        for (int i = 0; i < kCells; ++i) {
            const auto a = static_cast<std::uint32_t>(j * (kCells + 1) + i);
            const std::uint32_t b = a + kCells + 1;
            t.triangles.insert(t.triangles.end(), {a, b, a + 1, a + 1, b, b + 1});
        }
    return t;
}

const char* const kCameraText = "focal 1 aperture 1.2";
// 6 above the middle, looking down by half a right angle.
const char* const kCameraInstance =
    "instance \"camI\" \"cam\" transform 1 0 0 0 0 0.70710678 0.70710678 0 0 -0.70710678 "
    "0.70710678 0 0 0 -8.4852814 1 end instance\n";

// Seconds of processor time, which tell the cost of one thread on a busy machine as well, and of
// the clock on the wall, which alone tells what a second thread gives.
struct Clocks {
    double processor = 0;
    double wall = 0;
    static Clocks now() {
        return {static_cast<double>(std::clock()) / CLOCKS_PER_SEC,
                std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
                    .count()};
    }
    Clocks operator-(const Clocks& b) const { return {processor - b.processor, wall - b.wall}; }
    [[nodiscard]] double of(int threads) const { return threads == 1 ? processor : wall; }
};

double seconds(int threads, const std::function<void()>& work) {
    const Clocks start = Clocks::now();
    work();
    return (Clocks::now() - start).of(threads);
}

double best_of(int runs, const std::function<double()>& measure) {
    double best = 0;
    for (int i = 0; i < runs; ++i)
        best = std::max(best, measure());
    return best;
}

class Bare {
  public:
    Bare(const Terrain& t, RTCSceneFlags scene_flags) {
        m_device = rtcNewDevice(nullptr);
        m_scene = rtcNewScene(m_device);
        rtcSetSceneFlags(m_scene, scene_flags);
        RTCGeometry g = rtcNewGeometry(m_device, RTC_GEOMETRY_TYPE_TRIANGLE);
        std::copy(t.positions.begin(), t.positions.end(),
                  static_cast<float*>(rtcSetNewGeometryBuffer(g, RTC_BUFFER_TYPE_VERTEX, 0,
                                                              RTC_FORMAT_FLOAT3, 12,
                                                              t.positions.size() / 3)));
        std::copy(t.triangles.begin(), t.triangles.end(),
                  static_cast<std::uint32_t*>(rtcSetNewGeometryBuffer(
                      g, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 12, t.triangles.size() / 3)));
        rtcCommitGeometry(g);
        rtcAttachGeometry(m_scene, g);
        rtcReleaseGeometry(g);
        rtcCommitScene(m_scene);
    }
    ~Bare() {
        rtcReleaseScene(m_scene);
        rtcReleaseDevice(m_device);
    }
    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;

    // Rays per second. Rays lie ready; what is measured is the loop of intersections.
    double rate(const std::vector<vx::render::CameraRay>& rays, int threads,
                std::uint64_t& hits) const {
        std::atomic<std::uint64_t> found{0};
        tbb::task_arena arena(threads);
        const double time = seconds(threads, [&] {
            arena.execute([&] {
                tbb::parallel_for(tbb::blocked_range<std::size_t>(0, rays.size(), 1024),
                                  [&](const auto& range) {
                                      std::uint64_t n = 0;
                                      RTCIntersectContext context;
                                      rtcInitIntersectContext(&context);
                                      for (std::size_t i = range.begin(); i < range.end(); ++i) {
                                          RTCRayHit q;
                                          q.ray = {rays[i].origin.x,
                                                   rays[i].origin.y,
                                                   rays[i].origin.z,
                                                   0.0f,
                                                   rays[i].direction.x,
                                                   rays[i].direction.y,
                                                   rays[i].direction.z,
                                                   0.0f,
                                                   std::numeric_limits<float>::infinity(),
                                                   ~0u,
                                                   0,
                                                   0};
                                          q.hit.geomID = RTC_INVALID_GEOMETRY_ID;
                                          q.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
                                          rtcIntersect1(m_scene, &context, &q);
                                          if (q.hit.geomID != RTC_INVALID_GEOMETRY_ID) ++n;
                                      }
                                      found += n;
                                  });
            });
        });
        hits = found;
        return static_cast<double>(rays.size()) / time;
    }

  private:
    RTCDevice m_device;
    RTCScene m_scene;
};

// The same rays in the frame loop's order: tile by tile.
std::vector<vx::render::CameraRay> rays_in_tiles(const miCamera& camera,
                                                 const vx::trace::Matrix& to_world) {
    const vx::render::CameraRays all(camera, to_world);
    std::vector<vx::render::CameraRay> rays;
    constexpr int kTile = 32;
    for (int ty = 0; ty < kHeight; ty += kTile)
        for (int tx = 0; tx < kWidth; tx += kTile)
            for (int y = ty; y < std::min(kHeight, ty + kTile); ++y)
                for (int x = tx; x < std::min(kWidth, tx + kTile); ++x)
                    rays.push_back(
                        all.at(static_cast<float>(x) + 0.5f, static_cast<float>(y) + 0.5f));
    return rays;
}

} // namespace

int main() {
    const Terrain t = terrain();
    std::string text = vx::test::options() + vx::test::camera(kWidth, kHeight, kCameraText) +
                       "object \"land\" " + vx::test::flags() + "\ngroup\n";
    for (std::size_t i = 0; i < t.positions.size(); i += 3)
        text += fmt::format("{:.9g} {:.9g} {:.9g}\n", t.positions[i], t.positions[i + 1],
                            t.positions[i + 2]);
    for (std::size_t i = 0; i < t.positions.size() / 3; ++i)
        text += fmt::format("v {}\n", i);
    for (std::size_t i = 0; i < t.triangles.size(); i += 3)
        text += fmt::format("c {} {} {}\n", t.triangles[i], t.triangles[i + 1], t.triangles[i + 2]);
    text += "end group end object\n"
            "material \"m\" opaque \"t_constant\" ( \"color\" 0.5 0.6 0.7 1 ) end material\n"
            "instance \"landI\" \"land\" material \"m\" end instance\n";
    text += kCameraInstance;
    text += "instgroup \"world\" \"camI\" \"landI\" end instgroup\n"
            "render \"world\" \"camI\" \"opt\"\n";

    vx::test::Scene scene;
    std::vector<vx::render::CameraRay> rays;
    scene.settings.threads = 1;
    std::array<double, 2> ours{};
    std::uint64_t seen = 0;
    const double rays_per_frame = static_cast<double>(kWidth) * kHeight;
    // The frame loop runs between two messages; building the tree comes before the first.
    Clocks start;
    Clocks stop;
    scene.context.messages.set_sink([&](vx::shading::Level, std::string_view line) {
        if (line.find("prepared ") != std::string_view::npos) start = Clocks::now();
        if (line.find(" eye rays in ") != std::string_view::npos) stop = Clocks::now();
        scene.messages.emplace_back(line);
    });
    vx::shading::RenderRequest request;
    scene.on_rendered = [&](const vx::shading::RenderRequest& r) { request = r; };
    scene.run(text);
    if (scene.outcome != vx::render::Outcome::done) {
        fmt::print(stderr, "bench_eye_rays: error: the scene does not render\n{}",
                   scene.all_messages());
        return 1;
    }
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            seen += scene.frame.color(x, y).a > 0.0f ? 1u : 0u;

    const auto* const instance =
        scene.context.database.find<miInstance>(request.camera_instance, miSCENE_INSTANCE);
    const auto* const camera =
        scene.context.database.find<miCamera>(instance->item, miSCENE_CAMERA);
    rays = rays_in_tiles(*camera, vx::trace::to_matrix(instance->tf.local_to_global));

    const Bare robust(t, RTC_SCENE_FLAG_ROBUST);
    const Bare plain(t, RTC_SCENE_FLAG_NONE);
    std::array<double, 2> bare{};
    std::array<double, 2> bare_plain{};
    std::uint64_t hits = 0;
    for (const std::size_t n : {std::size_t{0}, std::size_t{1}}) {
        const int threads = static_cast<int>(n) + 1;
        scene.settings.threads = threads;
        ours[n] = best_of(5, [&] {
            vx::image::Frame frame(0, 0, false);
            // Color only, as for most pictures.
            scene.renderer.render(request, frame, false);
            return rays_per_frame / (stop - start).of(threads);
        });
        bare[n] = best_of(5, [&] { return robust.rate(rays, threads, hits); });
        bare_plain[n] = best_of(5, [&] { return plain.rate(rays, threads, hits); });
    }
    fmt::print("{} triangles, {:.0f} eye rays, {} hits (bare loop {})\n", t.triangles.size() / 3,
               rays_per_frame, seen, hits);
    for (const std::size_t n : {std::size_t{0}, std::size_t{1}})
        fmt::print(
            "{} thread{}: vx_render {:.2f}, bare Embree {:.2f} (robust), {:.2f} (not robust) "
            "million rays/s\n",
            n + 1, n == 0 ? "" : "s", ours[n] / 1e6, bare[n] / 1e6, bare_plain[n] / 1e6);
    using vx::bench::Aim;
    using vx::bench::print_ratio;
    print_ratio("eye rays: of bare Embree, robust", ours[0] / bare[0]);
    print_ratio("eye rays: of bare Embree, not robust", ours[0] / bare_plain[0], Aim::at_least,
                0.5);
    print_ratio("eye rays: two threads, of one", ours[1] / ours[0]);
    return 0;
}
