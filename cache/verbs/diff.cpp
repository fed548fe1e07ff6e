#include "cache/cloud/attribute_reader.h"
#include "cache/verbs/sequence.h"
#include "cache/verbs/verbs.h"

#include <nanoflann.hpp>

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

namespace vx::cache {

namespace {

constexpr std::size_t kWorstShown = 3;

// Two values of a point that differ.
struct Pair {
    std::int64_t point = 0;
    double error = 0;
    std::vector<double> a, b;
};

struct Difference {
    std::string attribute;
    std::int64_t points = 0; // differing by more than the tolerance
    std::int64_t first = -1;
    double largest = 0;
    double sum = 0;
    std::vector<Pair> worst; // by decreasing error
};

struct Comparison {
    std::int64_t count_a = 0;
    std::int64_t count_b = 0;
    std::int64_t compared = 0;
    std::int64_t unmatched = 0;   // --nearest: points of the first without one in the second
    std::int64_t unmatched_b = 0; // and of the second without one in the first
    std::vector<std::string> only_a;
    std::vector<std::string> only_b;
    std::vector<Difference> differences;

    bool differs() const {
        bool any = count_a != count_b || !only_a.empty() || !only_b.empty() || unmatched > 0 ||
                   unmatched_b > 0;
        for (const Difference& d : differences)
            any = any || d.points > 0;
        return any;
    }
};

struct Tolerance {
    double absolute = 0;
    double relative = 0;
};

// The relative tolerance refers to the larger magnitude. NaN equals NaN.
void compare(std::span<const double> a, std::span<const double> b, std::size_t width,
             std::int64_t point, const Tolerance& tolerance, Difference& d) {
    bool differs = false;
    double worst = 0;
    for (std::size_t k = 0; k < width; ++k) {
        const double x = a[k];
        const double y = b[k];
        if (x == y || (std::isnan(x) && std::isnan(y))) continue;
        const double error = std::abs(x - y);
        const double size = std::max(std::abs(x), std::abs(y));
        const bool within = error <= tolerance.absolute + tolerance.relative * size;
        differs = differs || !within;
        if (!std::isnan(error)) d.sum += error;
        worst =
            std::max(worst, std::isnan(error) ? std::numeric_limits<double>::infinity() : error);
    }
    d.largest = std::max(d.largest, worst);
    if (!differs) return;
    if (d.points++ == 0) d.first = point;
    if (d.worst.size() == kWorstShown && !(worst > d.worst.back().error)) return;
    if (d.worst.size() == kWorstShown) d.worst.pop_back();
    const auto place = std::find_if(d.worst.begin(), d.worst.end(),
                                    [&](const Pair& pair) { return pair.error < worst; });
    d.worst.insert(place, {point, worst, {a.begin(), a.end()}, {b.begin(), b.end()}});
}

struct PointSet {
    std::vector<double> p;
    std::size_t kdtree_get_point_count() const { return p.size() / 3; }
    double kdtree_get_pt(std::size_t i, std::size_t k) const { return p[3 * i + k]; }
    template <typename Box>
    bool kdtree_get_bbox(Box&) const {
        return false;
    }
};
using Tree = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, PointSet>,
                                                 PointSet, 3>;

PointSet positions_of(Cloud& cloud) {
    PointSet set;
    TypedReader<double> reader(cloud, need_position(cloud));
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        for (const double v : reader.read(first, n)) {
            if (!std::isfinite(v)) throw FileError(cloud.file_name, -1, "a position is not finite");
            set.p.push_back(v);
        }
    });
    return set;
}

// For each point of `from`, the index of the nearest point of `to`; -1 if none is within the
// distance.
std::vector<std::int64_t> match(const PointSet& from, const PointSet& to, double distance) {
    std::vector<std::int64_t> matches(from.kdtree_get_point_count(), -1);
    if (to.p.empty()) return matches;
    Tree tree(3, to);
    tree.buildIndex();
    for (std::size_t i = 0; i < matches.size(); ++i) {
        std::uint32_t index = 0;
        double square = 0;
        if (tree.knnSearch(&from.p[3 * i], 1, &index, &square) == 1 &&
            square <= distance * distance) {
            matches[i] = static_cast<std::int64_t>(index);
        }
    }
    return matches;
}

// The attributes that are compared.
struct NameFilter {
    std::vector<std::string> only; // empty: all
    std::vector<std::string> ignore;

    bool operator()(const std::string& name) const {
        const auto has = [&](const std::vector<std::string>& list) {
            return std::find(list.begin(), list.end(), name) != list.end();
        };
        return (only.empty() || has(only)) && !has(ignore);
    }
    // Names that neither cloud has are mistakes.
    void check(const Cloud& a, const Cloud& b) const {
        for (const auto* list : {&only, &ignore}) {
            for (const std::string& name : *list) {
                if (a.find(name) >= 0 || b.find(name) >= 0) continue;
                throw FileError(a.file_name, -1,
                                "has no attribute '" + name + "', and neither has " + b.file_name);
            }
        }
    }
};

class Differ {
  public:
    Differ(Cloud& a, Cloud& b, Tolerance tolerance, const NameFilter& compares)
        : m_a(a), m_b(b), m_tolerance(tolerance) {
        result.count_a = a.count;
        result.count_b = b.count;
        for (std::size_t i = 0; i < a.attributes.size(); ++i) {
            if (!compares(a.attributes[i].name)) continue;
            const int at = b.find(a.attributes[i].name);
            const bool same = at >= 0 && b.attributes[static_cast<std::size_t>(at)].width ==
                                             a.attributes[i].width;
            if (same) {
                m_shared.emplace_back(i, static_cast<std::size_t>(at));
            } else {
                result.only_a.push_back(a.attributes[i].name);
            }
        }
        for (const Attribute& other : b.attributes) {
            if (!compares(other.name)) continue;
            const int at = a.find(other.name);
            if (at < 0 || a.attributes[static_cast<std::size_t>(at)].width != other.width) {
                result.only_b.push_back(other.name);
            }
        }
    }

    void by_index() {
        const std::int64_t n = std::min(m_a.count, m_b.count);
        result.compared = n;
        for (const auto& [i, k] : m_shared) {
            Difference d;
            d.attribute = m_a.attributes[i].name;
            const auto width = static_cast<std::size_t>(m_a.attributes[i].width);
            TypedReader<double> left(m_a, i);
            TypedReader<double> right(m_b, k);
            for_blocks(n, [&](std::int64_t first, std::int64_t points) {
                const auto x = left.read(first, points);
                const auto y = right.read(first, points);
                for (std::size_t p = 0; p < static_cast<std::size_t>(points); ++p) {
                    compare(x.subspan(p * width, width), y.subspan(p * width, width), width,
                            first + static_cast<std::int64_t>(p), m_tolerance, d);
                }
            });
            result.differences.push_back(d);
        }
    }

    void by_nearest(double distance) {
        const PointSet a = positions_of(m_a);
        const PointSet b = positions_of(m_b);
        const std::vector<std::int64_t> matches = match(a, b, distance);
        result.unmatched = std::count(matches.begin(), matches.end(), -1);
        const std::vector<std::int64_t> back = match(b, a, distance);
        result.unmatched_b = std::count(back.begin(), back.end(), -1);
        result.compared = std::ssize(matches) - result.unmatched;
        for (const auto& [i, k] : m_shared) {
            Difference d;
            d.attribute = m_a.attributes[i].name;
            // The positions match within the distance, and ids are places in a file.
            if (d.attribute == "position" || d.attribute == "id") continue;
            const auto width = static_cast<std::size_t>(m_a.attributes[i].width);
            TypedReader<double> right(m_b, k);
            std::vector<double> all;
            for_blocks(m_b.count, [&](std::int64_t first, std::int64_t n) {
                const auto values = right.read(first, n);
                all.insert(all.end(), values.begin(), values.end());
            });
            TypedReader<double> left(m_a, i);
            for_blocks(m_a.count, [&](std::int64_t first, std::int64_t n) {
                const auto x = left.read(first, n);
                for (std::size_t p = 0; p < static_cast<std::size_t>(n); ++p) {
                    const std::int64_t point = first + static_cast<std::int64_t>(p);
                    const std::int64_t other = matches[static_cast<std::size_t>(point)];
                    if (other < 0) continue;
                    const std::span<const double> y(
                        all.data() + static_cast<std::size_t>(other) * width, width);
                    compare(x.subspan(p * width, width), y, width, point, m_tolerance, d);
                }
            });
            result.differences.push_back(d);
        }
    }

    Comparison result;

  private:
    Cloud& m_a;
    Cloud& m_b;
    Tolerance m_tolerance;
    std::vector<std::pair<std::size_t, std::size_t>> m_shared;
};

std::string numbers(const std::vector<double>& values) {
    std::string text;
    for (const double v : values) {
        char one[40];
        (void)std::snprintf(one, sizeof one, "%s%.9g", text.empty() ? "" : " ", v);
        text += one;
    }
    return text;
}

void print(const Comparison& c) {
    if (c.count_a != c.count_b) {
        std::printf("points: %lld and %lld\n", static_cast<long long>(c.count_a),
                    static_cast<long long>(c.count_b));
    }
    for (const std::string& name : c.only_a)
        std::printf("'%s': only in the first\n", shown(name).c_str());
    for (const std::string& name : c.only_b)
        std::printf("'%s': only in the second\n", shown(name).c_str());
    if (c.unmatched + c.unmatched_b > 0) {
        std::printf("unmatched: %lld of the first, %lld of the second\n",
                    static_cast<long long>(c.unmatched), static_cast<long long>(c.unmatched_b));
    }
    for (const Difference& d : c.differences) {
        if (d.points == 0) continue;
        std::printf(
            "'%s': %lld of %lld points differ, the first is point %lld; largest difference %.6g\n",
            shown(d.attribute).c_str(), static_cast<long long>(d.points),
            static_cast<long long>(c.compared), static_cast<long long>(d.first), d.largest);
        for (const Pair& pair : d.worst) {
            std::printf("  point %lld: %s and %s\n", static_cast<long long>(pair.point),
                        numbers(pair.a).c_str(), numbers(pair.b).c_str());
        }
    }
    std::printf(c.differs() ? "the clouds differ\n" : "the clouds agree\n");
}

Json describe(const Comparison& c) {
    Json list = Json::array();
    for (const Difference& d : c.differences) {
        Json worst = Json::array();
        for (const Pair& pair : d.worst)
            worst.push_back({{"point", pair.point}, {"first", pair.a}, {"second", pair.b}});
        list.push_back({{"name", d.attribute},
                        {"points", d.points},
                        {"first", d.first < 0 ? Json(nullptr) : Json(d.first)},
                        {"max", d.largest},
                        {"sum", d.sum},
                        {"worst", std::move(worst)}});
    }
    Json out;
    out["differs"] = c.differs();
    out["points"] = {c.count_a, c.count_b};
    out["compared"] = c.compared;
    out["only_first"] = c.only_a;
    out["only_second"] = c.only_b;
    out["unmatched"] = {c.unmatched, c.unmatched_b};
    out["attributes"] = std::move(list);
    return out;
}

} // namespace

Run add_diff(CLI::App& app) {
    struct Options {
        std::string a;
        std::string b;
        Tolerance tolerance;
        NameFilter compares;
        bool nearest = false;
        double distance = std::numeric_limits<double>::infinity();
        SequenceOptions sequence;
    };
    auto o = std::make_shared<Options>();
    app.add_option("first", o->a, "a cloud")->required();
    app.add_option("second", o->b, "the cloud to compare with")->required();
    app.add_option("--tolerance", o->tolerance.absolute,
                   "largest difference of values that counts as equal (default 0)")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--relative", o->tolerance.relative,
                   "relative tolerance, as a fraction of the larger value")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--only", o->compares.only, "compare these attributes only, as rgbPP,tag")
        ->delimiter(',')
        ->allow_extra_args(false);
    app.add_option("--ignore", o->compares.ignore, "do not compare these attributes, as radius,id")
        ->delimiter(',')
        ->allow_extra_args(false);
    app.add_flag("--nearest", o->nearest,
                 "compare each point with the nearest one of the other cloud");
    app.add_option("--distance", o->distance,
                   "with --nearest: largest distance between matched points")
        ->check(CLI::NonNegativeNumber)
        ->needs("--nearest");
    o->sequence.add(app, false);
    return [o](Session& session) {
        const auto compare_pair = [&](const Step& step) {
            const OpenedCloud a = session.open(step.inputs[0]);
            const OpenedCloud b = session.open(step.inputs[1]);
            o->compares.check(*a.cloud, *b.cloud);
            Differ differ(*a.cloud, *b.cloud, o->tolerance, o->compares);
            if (o->nearest) {
                differ.by_nearest(o->distance);
            } else {
                differ.by_index();
            }
            session.record().update(describe(differ.result));
            if (!session.json && !session.quiet) {
                if (step.framed) std::printf("frame %d: ", step.frame);
                print(differ.result);
            }
            if (differ.result.differs()) {
                session.failed = true;
                session.record()["ok"] = false;
            }
        };
        session.attempt([&] {
            const std::vector<Step> steps = o->sequence.steps(session, {o->a, o->b});
            o->sequence.run(session, steps, compare_pair);
        });
    };
}

} // namespace vx::cache
