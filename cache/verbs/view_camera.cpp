#include "cache/verbs/view_camera.h"

#include "cache/picture/scene_camera.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vx::cache {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kMargin = 0.05; // of the shorter side
constexpr int kDefaultWidth = 1280;
constexpr int kDefaultHeight = 960;

// The volume that a cloud sweeps when it rotates about an axis, as a few rings of its outline.
class Rings {
  public:
    Rings(const Vec& center, const Vec& up, double reach)
        : m_center(center), m_up(up), m_reach(reach > 0 ? reach : 1) {}

    void add(const Vec& point, double radius) {
        const Vec p = point - m_center;
        const double h = p.dot(m_up);
        const auto at =
            static_cast<std::size_t>(std::clamp((h / m_reach + 1) / 2 * kRings, 0.0, kRings - 1.0));
        m_wide[at] = std::max(m_wide[at], length(p - m_up * h) + radius);
    }
    void each(const std::function<void(const Vec&, double)>& f) const {
        const Direction d = named_direction("front", m_up);
        const Vec side = m_up.cross(d.back);
        for (std::size_t i = 0; i < kRings; ++i) {
            if (m_wide[i] < 0) continue;
            for (std::size_t edge = 0; edge < 2; ++edge) {
                const double h = m_reach * (2 * static_cast<double>(i + edge) / kRings - 1);
                for (int k = 0; k < 96; ++k) {
                    const double a = 2 * kPi * k / 96;
                    f(m_center + m_up * h + d.back * (m_wide[i] * std::cos(a)) +
                          side * (m_wide[i] * std::sin(a)),
                      0);
                }
            }
        }
    }

  private:
    static constexpr std::size_t kRings = 128;
    static constexpr std::array<double, kRings> kNone = [] {
        std::array<double, kRings> a{};
        a.fill(-1);
        return a;
    }();
    Vec m_center, m_up;
    double m_reach;
    std::array<double, kRings> m_wide = kNone;
};

} // namespace

PlacedCamera place_camera(const ViewOptions& options, const SequenceSummary& survey, int aside,
                          const EachBall& each) {
    const CameraChoice& choice = options.camera;
    PlacedCamera placed;
    placed.center = choice.to.value_or((survey.low + survey.high) * 0.5);
    if (!choice.scene.empty()) {
        placed.camera = read_scene_camera(choice.scene, choice.width, choice.height).camera;
        if (!is_possible_size(placed.camera.width, placed.camera.height)) {
            throw FileError(choice.scene, -1,
                            "a picture of the camera's " + std::to_string(placed.camera.width) +
                                " x " + std::to_string(placed.camera.height) +
                                " pixels are not supported; choose another --size");
        }
        return placed;
    }
    Camera& camera = placed.camera;
    camera.width = choice.width > 0 ? choice.width : kDefaultWidth;
    camera.height = choice.height > 0 ? choice.height : kDefaultHeight;
    camera.orthographic = choice.orthographic;
    const double width = camera.width;
    const double height = camera.height;
    const double half = std::tan(choice.field_of_view / 2 * kPi / 180);

    const bool is_explicit = choice.from.has_value();
    const bool is_aimed = choice.from || choice.to;
    if (is_aimed) aside = 0;
    const Direction direction = named_direction(choice.view, choice.up);
    const Vec back = is_explicit ? normalized(*choice.from - placed.center) : direction.back;
    if (!(length(back) > 0)) throw UsageError("--from is the center of the cloud; give --to");
    const Matrix rotation = look_at(back, Vec(0.0), direction.up);

    const double free = 2 * kMargin * std::min(width, height);
    const double part_x = std::max(width - aside - free, 1.0) / width;
    const double part_y = std::max(height - free, 1.0) / height;
    Framing framing(rotation, choice.orthographic, half * part_x, half * height / width * part_y);
    const auto add = [&](const Vec& p, double r) {
        framing.add(p, r);
        // Mirror the extent at the target, which stays in the center.
        if (is_aimed) framing.add(placed.center * 2 - p, r);
    };
    if (options.turntable > 0) {
        const double reach =
            length(survey.high - survey.low) + survey.radius + length(placed.center - survey.low);
        Rings rings(placed.center, choice.up, reach);
        each([&](const Vec& p, double r) { rings.add(p, r); });
        rings.each(add);
    } else if (!is_explicit || choice.orthographic) {
        each(add);
    }
    const Vec eye = is_explicit && !choice.orthographic ? *choice.from : framing.eye();
    camera.to_camera = look_at(eye, eye - back, direction.up);
    camera.focal = 1;
    const double aperture = choice.orthographic ? 2 * framing.half_width() / part_x : 2 * half;
    camera.set_plane(aperture, width / height, -aside / 2.0, 0);
    return placed;
}

Camera turned(const PlacedCamera& placed, const Vec& up, double degrees) {
    const double a = degrees * kPi / 180;
    const double c = std::cos(a);
    const double s = std::sin(a);
    const Vec u = normalized(up);
    // The world rotates in the opposite direction; the rows are the images of x, y and z.
    const auto turn = [&](const Vec& v) {
        return v * c + u.cross(v) * -s + u * (u.dot(v) * (1 - c));
    };
    const Vec x = turn({1, 0, 0});
    const Vec y = turn({0, 1, 0});
    const Vec z = turn({0, 0, 1});
    const Vec move = placed.center - turn(placed.center);
    Camera camera = placed.camera;
    camera.to_camera =
        Matrix(x.x, x.y, x.z, 0, y.x, y.y, y.z, 0, z.x, z.y, z.z, 0, move.x, move.y, move.z, 1) *
        placed.camera.to_camera;
    return camera;
}

} // namespace vx::cache
