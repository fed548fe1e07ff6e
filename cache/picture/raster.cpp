#include "cache/picture/raster.h"

#include <algorithm>
#include <limits>

namespace vx::cache {

namespace {

constexpr double kRim = 0.3; // distance of the rim behind the center, in radii
constexpr float kNothing = -std::numeric_limits<float>::infinity();

} // namespace

Picture::Picture(int w, int h, const Color& fill)
    : width(w),
      height(h),
      pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), fill) {}

DiscRaster::DiscRaster(const Camera& camera, int samples, int first, int lines)
    : m_camera(camera),
      m_samples(samples),
      m_first(first),
      m_lines(lines),
      m_columns(camera.width * samples),
      m_rows(lines * samples) {
    const std::size_t count =
        static_cast<std::size_t>(m_columns) * static_cast<std::size_t>(m_rows);
    m_depth.assign(count, kNothing);
    m_colors.resize(count);
}

bool DiscRaster::project(const Disc& disc, Footprint& k) const {
    const Camera& cam = m_camera;
    const bool flat = cam.orthographic;
    const Vec& p = disc.center;
    const double depth = -p.z;
    if (!(depth > cam.near_limit)) return false;

    // Size of a sample on the image plane, and at the distance of the disc.
    const double step_x = cam.scale_x / m_samples;
    const double step_y = cam.scale_y / m_samples;
    const double stretch = flat ? 1 : cam.focal / depth;
    const double half_pixel = 0.5 * std::max(cam.scale_x, cam.scale_y) / stretch;
    const double radius = std::max(disc.radius > 0 ? disc.radius : 0.0, half_pixel);
    if (!(radius < std::numeric_limits<float>::max())) return false;

    k = {};
    k.color = disc.color;
    k.x = (p.x * stretch - cam.shift_x) / step_x;
    k.y = (p.y * stretch - cam.shift_y) / step_y - static_cast<double>(m_first) * m_samples;

    const Vec to_eye = flat ? Vec{0, 0, 1} : normalized(p) * -1;
    Vec n = normalized(disc.normal);
    double facing = n.dot(to_eye);
    if (!is_finite(n) || n.dot(n) < 0.5) {
        n = to_eye;
        facing = 1;
    } else if (facing < 0) {
        n = n * -1;
        facing = -facing;
    }
    if (const double least = std::min(1.0, half_pixel / radius); facing < least) {
        const Vec aside = normalized(n - to_eye * facing);
        n = aside * std::sqrt(1 - least * least) + to_eye * least;
    }
    const double reach = radius * std::sqrt(std::max(0.0, 1 - n.z * n.z));
    if (!(depth - reach > cam.near_limit)) return false;

    const double r2 = radius * radius;
    double uu, uv, vv, w, wu, wv, back;
    if (flat) {
        // z = center - (n.x u + n.y v) / n.z
        w = n.z;
        wu = wv = 0;
        const double sx = n.x * step_x;
        const double sy = n.y * step_y;
        uu = n.z * n.z * step_x * step_x + sx * sx;
        uv = sx * sy;
        vv = n.z * n.z * step_y * step_y + sy * sy;
        k.key = p.z;
        k.key_u = -sx / n.z;
        k.key_v = -sy / n.z;
        back = kRim * radius;
    } else {
        // The line of sight d meets the disc's plane at (n.c / n.d) d; its distance from the center
        // is |(n.c) d - (n.d) c| / (n.d), which has no constant part in u and v.
        const double nc = n.dot(p);
        w = n.dot(p) * stretch;
        wu = n.x * step_x;
        wv = n.y * step_y;
        const Vec gu = Vec{nc * step_x, 0, 0} - p * wu;
        const Vec gv = Vec{0, nc * step_y, 0} - p * wv;
        uu = gu.dot(gu);
        uv = gu.dot(gv);
        vv = gv.dot(gv);
        k.key = stretch;
        k.key_u = wu / nc;
        k.key_v = wv / nc;
        back = kRim * radius / cam.focal * stretch * stretch;
    }
    k.a = uu - r2 * wu * wu;
    k.b = uv - r2 * wu * wv;
    k.c = vv - r2 * wv * wv;
    k.d = -r2 * w * wu;
    k.e = -r2 * w * wv;
    k.f = -r2 * w * w;
    const double rim_scale = back / (r2 * w * w);
    k.rim_uu = uu * rim_scale;
    k.rim_uv = uv * rim_scale;
    k.rim_vv = vv * rim_scale;
    return find_rows(k);
}

// The rows that the conic intersects.
bool DiscRaster::find_rows(Footprint& k) const {
    const double det = k.a * k.c - k.b * k.b;
    if (!(k.a > 0 && det > 0)) return false;
    // (b v + d)^2 >= a (c v^2 + 2 e v + f)
    const double half = k.b * k.d - k.a * k.e;
    const double spread = half * half + det * (k.d * k.d - k.a * k.f);
    if (!(spread > 0)) return false;
    const double root = std::sqrt(spread);
    const double low = k.y + (half - root) / det;
    const double high = k.y + (half + root) / det;
    if (!(high > 0 && low < m_rows)) return false;
    k.first_row = static_cast<int>(std::ceil(std::max(low - 0.5, 0.0)));
    k.last_row = static_cast<int>(std::floor(std::min(high - 0.5, m_rows - 1.0)));
    return k.first_row <= k.last_row;
}

bool DiscRaster::fill(const Footprint& k, int begin_row, int end_row) {
    const int last = std::min(k.last_row, end_row - 1);
    bool covered = false;
    for (int row = std::max(k.first_row, begin_row); row <= last; ++row) {
        const double v = row + 0.5 - k.y;
        const double middle = -(k.b * v + k.d);
        const double inside = middle * middle - k.a * ((k.c * v + 2 * k.e) * v + k.f);
        if (!(inside >= 0)) continue;
        const double reach = std::sqrt(inside);
        const double left = k.x + (middle - reach) / k.a - 0.5;
        const double right = k.x + (middle + reach) / k.a - 0.5;
        if (!(right >= 0 && left <= m_columns - 1.0)) continue;
        const int begin = static_cast<int>(std::ceil(std::max(left, 0.0)));
        const int end = static_cast<int>(std::floor(std::min(right, m_columns - 1.0)));
        if (begin > end) continue;
        covered = true;
        const auto base = static_cast<float>(k.key + k.key_v * v - k.rim_vv * v * v);
        const auto slope = static_cast<float>(k.key_u - 2 * k.rim_uv * v);
        const auto bend = static_cast<float>(k.rim_uu);
        const auto from = static_cast<float>(begin + 0.5 - k.x);
        const std::size_t line =
            static_cast<std::size_t>(row) * static_cast<std::size_t>(m_columns);
        float* const depth = m_depth.data() + line;
        Color* const colors = m_colors.data() + line;
        for (int i = begin; i <= end; ++i) {
            const float u = from + static_cast<float>(i - begin);
            const float key = base + u * (slope - bend * u);
            if (key > depth[i]) {
                depth[i] = key;
                colors[i] = k.color;
            }
        }
    }
    return covered;
}

void DiscRaster::resolve(Picture& picture, const Color& background) const {
    const double share = static_cast<double>(m_samples) * m_samples;
    for (int line = 0; line < m_lines; ++line) {
        const int y = m_camera.height - 1 - (m_first + line);
        for (int x = 0; x < m_camera.width; ++x) {
            double sum[3] = {};
            for (int j = 0; j < m_samples; ++j) {
                const std::size_t at = static_cast<std::size_t>(line * m_samples + j) *
                                           static_cast<std::size_t>(m_columns) +
                                       static_cast<std::size_t>(x * m_samples);
                for (int i = 0; i < m_samples; ++i) {
                    const std::size_t s = at + static_cast<std::size_t>(i);
                    const Color& c = m_depth[s] == kNothing ? background : m_colors[s];
                    for (std::size_t k = 0; k < 3; ++k)
                        sum[k] += static_cast<double>(c[k]);
                }
            }
            Color& out = picture.at(x, y);
            for (std::size_t k = 0; k < 3; ++k)
                out[k] = static_cast<float>(sum[k] / share);
        }
    }
}

} // namespace vx::cache
