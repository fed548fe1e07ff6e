#include "cache/verbs/lookup_report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace vx::cache {

namespace {

std::string number(double v) {
    char text[40];
    (void)std::snprintf(text, sizeof text, "%.6g", v);
    return text;
}
template <typename List>
std::string numbers(const List& list) {
    std::string text;
    for (const float v : list)
        text += (text.empty() ? "" : " ") + number(static_cast<double>(v));
    return text;
}
template <typename List>
Json json_of(const List& list) {
    Json out = Json::array();
    for (const float v : list)
        out.push_back(static_cast<double>(v));
    return out;
}
std::string count_of(std::int64_t n, const char* what) {
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

// The labels of the points that were rejected by label; few of them, the most frequent first.
std::string rejected_labels(const Tally& t) {
    constexpr std::size_t kShown = 8;
    std::vector<std::pair<int, std::int64_t>> labels(t.labels.begin(), t.labels.end());
    std::stable_sort(labels.begin(), labels.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    std::string text;
    for (std::size_t i = 0; i < std::min(labels.size(), kShown); ++i) {
        text += (i == 0 ? "; the points rejected by label carry " : ", ") +
                std::to_string(labels[i].first) + " (" + std::to_string(labels[i].second) + ")";
    }
    return text + (labels.size() > kShown ? ", ..." : "");
}

// Why a channel of a blend is not a number.
std::string why_not_a_number(const LookupOptions& o, const Seen& seen, std::size_t channel) {
    const std::string name = std::array{"red", "green", "blue"}[channel];
    for (const FoundPoint& p : seen.found) {
        const std::string point = "point " + std::to_string(p.index);
        if (p.left_out || !std::isnan(p.weight[channel] * p.color[channel])) continue;
        if (std::isnan(p.color[channel])) {
            return name + " is not a number, since that of " + point + " is not";
        }
        if (p.falloff < 0.0f && std::isnan(p.weight[channel])) {
            return name + " is not a number: " + point +
                   " is just inside the radius, where rounding makes its falloff " +
                   number(static_cast<double>(p.falloff)) + ", which has no power " +
                   number(static_cast<double>(o.settings.falloff[channel]));
        }
        return name + " is not a number: " + point + " has the weight " +
               number(static_cast<double>(p.weight[channel])) + " and the value " +
               number(static_cast<double>(p.color[channel]));
    }
    return name + " is not a number: infinite values cancel each other, or meet a scale of 0";
}

// One sentence for each reason why the result is not a plain blend.
std::vector<std::string> reasons(const ReaderProbe& probe, const LookupOptions& o,
                                 const Seen& seen) {
    const Tally& t = seen.tally;
    std::vector<std::string> out;
    if (probe.disabled()) {
        out.emplace_back("the cloud has no rgbPP: the shader is disabled and returns black");
        return out;
    }
    if (!seen.success) {
        out.emplace_back("the cloud has no points: the shader returns black and false");
        return out;
    }
    if (seen.found.empty()) {
        if (o.settings.max_points < 1) {
            out.emplace_back("--max-points allows none");
        } else if (t.within == 0) {
            out.push_back("no point is within the radius of " +
                          number(static_cast<double>(o.settings.radius)) +
                          (t.nearest < 0 ? "" : "; the nearest is " + number(t.nearest) + " away"));
        } else {
            out.push_back("all " + count_of(t.within, "point") +
                          " within the radius were rejected" + rejected_labels(t));
        }
    } else if (seen.blended == 0) {
        out.emplace_back("every point that was found faces the same way as the normal: the mean is "
                         "of no points, its color is not a number");
    } else {
        for (std::size_t k = 0; k < 3; ++k) {
            if (std::isnan(seen.color[k])) out.push_back(why_not_a_number(o, seen, k));
        }
    }
    return out;
}

void print_row(const char* index, const char* id, const char* distance, const char* label,
               const char* weight, const char* position, const char* color, const char* opacity) {
    char text[256];
    (void)std::snprintf(text, sizeof text, "  %9s %9s %10s %7s  %-29s %-32s %-29s %s", index, id,
                        distance, label, weight, position, color, opacity);
    std::string line(text);
    line.resize(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
}

void print_table(const Seen& seen) {
    print_row("index", "id", "distance", "label", "weight r g b", "position", "color", "opacity");
    for (const FoundPoint& p : seen.found) {
        print_row(std::to_string(p.index).c_str(), p.id ? number(*p.id).c_str() : "-",
                  number(static_cast<double>(p.distance)).c_str(),
                  p.label ? std::to_string(*p.label).c_str() : "-",
                  p.left_out ? "left out, faces away" : numbers(p.weight).c_str(),
                  numbers(p.position).c_str(), numbers(p.color).c_str(),
                  number(static_cast<double>(p.opacity)).c_str());
    }
}

} // namespace

void print_lookup(const ReaderProbe& probe, const LookupOptions& o, const LookupPoint& q,
                  const Seen& seen) {
    const Tally& t = seen.tally;
    std::printf("  point     %s", numbers(q.point).c_str());
    if (o.needs_normal()) std::printf(", normal %s", numbers(q.normal).c_str());
    std::printf("\n  color     %s\n  found     %s", numbers(seen.color).c_str(),
                count_of(seen.point_count, "point").c_str());
    if (seen.blended != seen.point_count) std::printf(", %d in the mean", seen.blended);
    std::printf("\n");
    const double length = std::hypot(q.normal[0], q.normal[1], q.normal[2]);
    if (o.needs_normal() && !(std::abs(length - 1) < 1e-3)) {
        std::printf("  mind      the normal has length %s, and the shader does not normalize it\n",
                    number(length).c_str());
    }
    for (const std::string& why : reasons(probe, o, seen))
        std::printf("  because   %s\n", why.c_str());
    if (t.within > 0) {
        std::printf("  within    %s within the radius", count_of(t.within, "point").c_str());
        if (t.by_label > 0)
            std::printf(", %lld rejected by label", static_cast<long long>(t.by_label));
        if (t.by_cone > 0) std::printf(", %lld by the angles", static_cast<long long>(t.by_cone));
        if (t.by_facing > 0) std::printf(", %lld by facing", static_cast<long long>(t.by_facing));
        if (t.passed > seen.point_count) {
            std::printf(", %lld beyond --max-points",
                        static_cast<long long>(t.passed - seen.point_count));
        }
        std::printf("\n");
    }
    if (!seen.found.empty()) print_table(seen);
}

Json describe_lookup(const ReaderProbe& probe, const LookupOptions& o, const LookupPoint& q,
                     const Seen& seen) {
    const Tally& t = seen.tally;
    Json out;
    out["point"] = json_of(q.point);
    out["normal"] = json_of(q.normal);
    out["success"] = seen.success;
    out["color"] = json_of(seen.color);
    out["point_count"] = seen.point_count;
    out["blended"] = seen.blended;
    out["because"] = reasons(probe, o, seen);
    out["tally"] = {{"points", t.total},
                    {"within_radius", t.within},
                    {"refused_by_label", t.by_label},
                    {"refused_by_angle", t.by_cone},
                    {"refused_by_facing", t.by_facing},
                    {"passed", t.passed}};
    for (const auto& [label, count] : t.labels)
        out["tally"]["refused_labels"][std::to_string(label)] = count;
    if (t.nearest >= 0) out["tally"]["nearest"] = t.nearest;
    Json found = Json::array();
    for (const FoundPoint& p : seen.found) {
        Json one;
        one["index"] = p.index;
        if (p.id) one["id"] = *p.id;
        if (p.label) one["label"] = *p.label;
        one["distance"] = static_cast<double>(p.distance);
        one["falloff"] = static_cast<double>(p.falloff);
        one["in_mean"] = !p.left_out;
        if (!p.left_out) one["weight"] = json_of(p.weight);
        one["position"] = json_of(p.position);
        one["normal"] = json_of(p.normal);
        one["color"] = json_of(p.color);
        one["opacity"] = static_cast<double>(p.opacity);
        found.push_back(one);
    }
    out["found"] = found;
    return out;
}

} // namespace vx::cache
