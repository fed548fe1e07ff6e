#include "host/scene/triangulate.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace vx::scene {

namespace {

// Number of point-in-triangle tests after which the rest of a polygon is split into a fan.
constexpr std::size_t kWorkLimit = 200'000'000;

struct Point {
    double x = 0, y = 0;
    bool operator==(const Point&) const = default;
};

// Twice the signed area of a triangle.
double cross(Point a, Point b, Point c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

bool in_triangle(Point p, Point a, Point b, Point c) {
    return cross(a, b, p) >= 0 && cross(b, c, p) >= 0 && cross(c, a, p) >= 0;
}

struct Vector {
    double x = 0, y = 0, z = 0;
};

Vector newell_normal(std::span<const Vec3> points, std::span<const std::uint32_t> ring) {
    Vector n;
    const Vec3 base = points[ring[0]]; // preserves precision far from the origin
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const Vec3& p = points[ring[i]];
        const Vec3& q = points[ring[(i + 1) % ring.size()]];
        const double px = double(p.x) - base.x, py = double(p.y) - base.y,
                     pz = double(p.z) - base.z;
        const double qx = double(q.x) - base.x, qy = double(q.y) - base.y,
                     qz = double(q.z) - base.z;
        n.x += (py - qy) * (pz + qz);
        n.y += (pz - qz) * (px + qx);
        n.z += (px - qx) * (py + qy);
    }
    return n;
}

// Projects along the largest component of the normal, so that the outline is counterclockwise.
std::vector<Point> project(std::span<const Vec3> points, std::span<const std::uint32_t> corners,
                           const Vector& n) {
    const double ax = std::abs(n.x), ay = std::abs(n.y), az = std::abs(n.z);
    std::vector<Point> flat;
    flat.reserve(corners.size());
    for (const std::uint32_t corner : corners) {
        const Vec3& p = points[corner];
        if (az >= ax && az >= ay)
            flat.push_back(n.z >= 0 ? Point{p.x, p.y} : Point{p.y, p.x});
        else if (ay >= ax)
            flat.push_back(n.y >= 0 ? Point{p.z, p.x} : Point{p.x, p.z});
        else
            flat.push_back(n.x >= 0 ? Point{p.y, p.z} : Point{p.z, p.y});
    }
    return flat;
}

double signed_area(const std::vector<Point>& flat, std::span<const std::uint32_t> ring) {
    double area = 0;
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const Point p = flat[ring[i]], q = flat[ring[(i + 1) % ring.size()]];
        area += (p.x - flat[ring[0]].x) * (q.y - flat[ring[0]].y) -
                (q.x - flat[ring[0]].x) * (p.y - flat[ring[0]].y);
    }
    return area;
}

// Whether a line from corner `i` to `m` starts inside the outline.
bool starts_inside(const std::vector<Point>& flat, const std::vector<std::uint32_t>& outline,
                   std::size_t i, Point m) {
    const Point before = flat[outline[(i + outline.size() - 1) % outline.size()]];
    const Point at = flat[outline[i]];
    const Point after = flat[outline[(i + 1) % outline.size()]];
    const bool left_of_both = cross(before, at, m) >= 0 && cross(at, after, m) >= 0;
    const bool right_of_both = cross(before, at, m) < 0 && cross(at, after, m) < 0;
    return cross(before, at, after) > 0 ? left_of_both : !right_of_both;
}

// The ends of earlier bridges coincide with other corners. Selects the one that sees `m`.
std::size_t pick_twin(const std::vector<Point>& flat, const std::vector<std::uint32_t>& outline,
                      std::size_t chosen, Point m) {
    for (std::size_t i = 0; i < outline.size(); ++i)
        if (flat[outline[i]] == flat[outline[chosen]] && starts_inside(flat, outline, i, m))
            return i;
    return chosen;
}

// The corner of `outline` at which a bridge from `m`, the rightmost point of a hole, ends. The
// first edge hit by a ray to the right has the candidate. If corners inside the triangle between
// ray and candidate block the bridge, the one with the smallest angle to the ray is used instead.
std::size_t bridge_end(const std::vector<Point>& flat, const std::vector<std::uint32_t>& outline,
                       Point m) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    double nearest = kInfinity;
    std::size_t best = outline.size();
    Point hit;
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const std::size_t j = (i + 1) % outline.size();
        const Point a = flat[outline[i]], b = flat[outline[j]];
        // The first edge of a counterclockwise outline to the right is directed upwards.
        if (!(a.y <= m.y && b.y >= m.y) || a.y == b.y) continue;
        const double x = a.x + (m.y - a.y) / (b.y - a.y) * (b.x - a.x);
        if (x < m.x || x >= nearest) continue;
        nearest = x;
        hit = {x, m.y};
        best = a.x > b.x ? i : j;
        if (hit == a) best = i;
        if (hit == b) best = j;
    }
    if (best == outline.size()) {
        // The hole is not inside the outline; use any corner.
        return 0;
    }
    const Point p = flat[outline[best]];
    if (p == hit) return pick_twin(flat, outline, best, m);
    double smallest = kInfinity;
    std::size_t chosen = best;
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const Point q = flat[outline[i]];
        if (q == p || q.x < m.x) continue;
        const bool inside = p.y > m.y ? in_triangle(q, m, hit, p) : in_triangle(q, m, p, hit);
        if (!inside) continue;
        const Point before = flat[outline[(i + outline.size() - 1) % outline.size()]];
        const Point after = flat[outline[(i + 1) % outline.size()]];
        if (cross(before, q, after) > 0) continue; // not reflex: hidden behind its own edges
        const double angle = std::abs(q.y - m.y) / std::max(q.x - m.x, 1e-300);
        if (angle < smallest || (angle == smallest && q.x < flat[outline[chosen]].x)) {
            smallest = angle;
            chosen = i;
        }
    }
    return pick_twin(flat, outline, chosen, m);
}

void join_hole(const std::vector<Point>& flat, std::vector<std::uint32_t>& outline,
               const std::vector<std::uint32_t>& hole) {
    const auto right = std::max_element(hole.begin(), hole.end(),
                                        [&](auto a, auto b) { return flat[a].x < flat[b].x; });
    const std::size_t at = bridge_end(flat, outline, flat[*right]);
    std::vector<std::uint32_t> bridge(right, hole.end());
    bridge.insert(bridge.end(), hole.begin(), right);
    bridge.push_back(*right);
    bridge.push_back(outline[at]);
    outline.insert(outline.begin() + static_cast<std::ptrdiff_t>(at) + 1, bridge.begin(),
                   bridge.end());
}

class EarClipper {
  public:
    EarClipper(const std::vector<Point>& flat, const std::vector<std::uint32_t>& outline)
        : m_outline(outline), m_next(outline.size()), m_previous(outline.size()) {
        const std::size_t n = outline.size();
        m_at.reserve(n);
        for (std::size_t i = 0; i < n; ++i) {
            m_at.push_back(flat[outline[i]]);
            m_next[i] = (i + 1) % n;
            m_previous[i] = (i + n - 1) % n;
        }
        m_reflex.resize(n);
        for (std::size_t i = 0; i < n; ++i)
            m_reflex[i] = !convex(i);
    }

    bool run(std::span<const std::uint32_t> corners, std::vector<Triangle>& triangles) {
        std::size_t left = m_outline.size(), now = 0, refused = 0;
        bool in_budget = true;
        while (left > 3) {
            in_budget = in_budget && m_work < kWorkLimit;
            // Without any ear the polygon intersects itself; clip the current corner.
            if (in_budget && refused < left && !is_ear(now)) {
                now = m_next[now];
                ++refused;
                continue;
            }
            emit(now, corners, triangles);
            const std::size_t before = m_previous[now], after = m_next[now];
            m_next[before] = after;
            m_previous[after] = before;
            m_reflex[before] = !convex(before);
            m_reflex[after] = !convex(after);
            --left;
            refused = 0;
            // Skipping a corner distributes the cuts and avoids long thin fans.
            now = m_next[after];
        }
        emit(now, corners, triangles);
        return in_budget;
    }

  private:
    bool convex(std::size_t i) const {
        return cross(m_at[m_previous[i]], m_at[i], m_at[m_next[i]]) > 0;
    }

    bool is_ear(std::size_t i) {
        if (m_reflex[i]) return false;
        const Point a = m_at[m_previous[i]], b = m_at[i], c = m_at[m_next[i]];
        for (std::size_t j = m_next[m_next[i]]; j != m_previous[i]; j = m_next[j]) {
            ++m_work;
            if (!m_reflex[j]) continue;
            const Point p = m_at[j];
            // The ends of a bridge coincide.
            if (p == a || p == b || p == c) continue;
            if (in_triangle(p, a, b, c)) return false;
        }
        return true;
    }

    void emit(std::size_t i, std::span<const std::uint32_t> corners,
              std::vector<Triangle>& triangles) const {
        const Triangle t = {corners[m_outline[m_previous[i]]], corners[m_outline[i]],
                            corners[m_outline[m_next[i]]]};
        if (t[0] != t[1] && t[1] != t[2] && t[2] != t[0]) triangles.push_back(t);
    }

    const std::vector<std::uint32_t>& m_outline;
    std::vector<Point> m_at;
    std::vector<std::size_t> m_next, m_previous;
    std::vector<bool> m_reflex;
    std::size_t m_work = 0;
};

// Splits a quadrilateral, the most common case, along one of its diagonals.
void split_quad(std::span<const Vec3> points, std::span<const std::uint32_t> q,
                std::vector<Triangle>& triangles) {
    const Vector n = newell_normal(points, q);
    const std::vector<Point> p = project(points, q, n);
    const bool first = cross(p[0], p[1], p[2]) > 0 && cross(p[0], p[2], p[3]) > 0;
    const bool second = cross(p[1], p[2], p[3]) > 0 && cross(p[1], p[3], p[0]) > 0;
    if (first || !second) {
        triangles.push_back({q[0], q[1], q[2]});
        triangles.push_back({q[0], q[2], q[3]});
    } else {
        triangles.push_back({q[1], q[2], q[3]});
        triangles.push_back({q[1], q[3], q[0]});
    }
}

} // namespace

bool triangulate(std::span<const Vec3> points, std::span<const std::uint32_t> corners,
                 std::span<const std::size_t> rings, std::vector<Triangle>& triangles) {
    if (rings.size() == 1 && corners.size() == 3) {
        triangles.push_back({corners[0], corners[1], corners[2]});
        return true;
    }
    if (rings.size() == 1 && corners.size() == 4) {
        split_quad(points, corners, triangles);
        return true;
    }
    const Vector normal = newell_normal(points, corners.first(rings[0]));
    const std::vector<Point> flat = project(points, corners, normal);
    std::vector<std::uint32_t> outline(rings[0]);
    std::iota(outline.begin(), outline.end(), 0u);

    std::vector<std::vector<std::uint32_t>> holes;
    std::size_t start = rings[0];
    for (const std::size_t length : rings.subspan(1)) {
        std::vector<std::uint32_t> hole(length);
        std::iota(hole.begin(), hole.end(), static_cast<std::uint32_t>(start));
        if (signed_area(flat, hole) > 0) std::reverse(hole.begin(), hole.end());
        holes.push_back(std::move(hole));
        start += length;
    }
    // Holes are joined from right to left, so that no bridge crosses a hole that is joined later.
    const auto rightmost = [&](const std::vector<std::uint32_t>& hole) {
        double x = -std::numeric_limits<double>::infinity();
        for (const std::uint32_t i : hole)
            x = std::max(x, flat[i].x);
        return x;
    };
    std::stable_sort(holes.begin(), holes.end(),
                     [&](const auto& a, const auto& b) { return rightmost(a) > rightmost(b); });
    std::size_t bridging = 0;
    for (const auto& hole : holes) {
        bridging += outline.size();
        if (bridging > kWorkLimit) break;
        join_hole(flat, outline, hole);
    }
    const bool clipped = EarClipper(flat, outline).run(corners, triangles);
    return clipped && bridging <= kWorkLimit;
}

} // namespace vx::scene
