#include "cache/verbs/statistics.h"
#include "cache/verbs/verbs.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
#include <memory>

namespace vx::cache {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kLabelsShown = 20;

std::string number(double v) {
    if (std::isnan(v)) return "-"; // no finite value
    char text[40];
    (void)std::snprintf(text, sizeof text, "%.6g", v);
    return text;
}

std::string components(const std::vector<Range>& ranges, double Range::*member) {
    std::string text;
    for (std::size_t k = 0; k < std::min<std::size_t>(ranges.size(), 4); ++k)
        text += (k > 0 ? " " : "") + number(ranges[k].*member);
    return text + (ranges.size() > 4 ? " ..." : "");
}

Json components_json(const std::vector<Range>& ranges, double Range::*member) {
    if (ranges.size() == 1) return Json(ranges[0].*member);
    Json list = Json::array();
    for (const Range& r : ranges)
        list.push_back(r.*member);
    return list;
}

std::int64_t not_finite(const std::vector<Range>& ranges) {
    std::int64_t n = 0;
    for (const Range& r : ranges)
        n += r.total - r.finite;
    return n;
}

Json describe(const OpenedCloud& opened, const Statistics& s) {
    const Cloud& cloud = *opened.cloud;
    Json out;
    out["file"] = cloud.file_name;
    out["format"] = format_name(opened.format);
    for (const auto& [name, text] : cloud.details)
        out[name] = text;
    out["points"] = cloud.count;
    Json attributes = Json::array();
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        Json one;
        one["name"] = a.name;
        one["type"] = type_name(a.type);
        one["width"] = a.width;
        one["single"] = a.single;
        one["min"] = components_json(s.ranges[i], &Range::least);
        one["max"] = components_json(s.ranges[i], &Range::most);
        one["mean"] = components_json(s.ranges[i], &Range::mean);
        one["not_finite"] = not_finite(s.ranges[i]);
        attributes.push_back(one);
    }
    out["attributes"] = attributes;
    if (const int p = cloud.find("position"); p >= 0) {
        const auto& ranges = s.ranges[static_cast<std::size_t>(p)];
        out["bounds"] = {{"min", components_json(ranges, &Range::least)},
                         {"max", components_json(ranges, &Range::most)}};
    }
    Json labels = Json::object();
    for (const auto& [label, count] : s.labels)
        labels[std::to_string(label)] = count;
    if (cloud.find("tag") >= 0) out["points_per_label"] = labels;
    if (s.spacing.samples > 0) {
        out["spacing"] = {
            {"samples", s.spacing.samples}, {"median", s.spacing.median}, {"max", s.spacing.most}};
    }
    return out;
}

void print(const OpenedCloud& opened, const Statistics& s) {
    const Cloud& cloud = *opened.cloud;
    std::printf("%s\n  format    %s", shown(cloud.file_name).c_str(),
                std::string(format_name(opened.format)).c_str());
    for (const auto& [name, text] : cloud.details)
        std::printf(", %s %s", shown(name).c_str(), shown(text).c_str());
    std::printf("\n  points    %lld\n", static_cast<long long>(cloud.count));
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        std::string kind(type_name(a.type));
        if (a.width > 1) kind += " x" + std::to_string(a.width);
        if (a.single) kind += ", one for all";
        std::printf("  %-12s %-12s min %s  max %s  mean %s", shown(a.name).c_str(), kind.c_str(),
                    components(s.ranges[i], &Range::least).c_str(),
                    components(s.ranges[i], &Range::most).c_str(),
                    components(s.ranges[i], &Range::mean).c_str());
        if (const std::int64_t n = not_finite(s.ranges[i]); n > 0) {
            std::printf("  not finite %lld", static_cast<long long>(n));
        }
        std::printf("\n");
    }
    if (const int p = cloud.find("position"); p >= 0 && cloud.count > 0) {
        std::string size;
        for (const Range& r : s.ranges[static_cast<std::size_t>(p)])
            size += (size.empty() ? "" : " x ") + number(r.most - r.least);
        std::printf("  size      %s\n", size.c_str());
    }
    if (s.spacing.samples > 0) {
        std::printf("  spacing   median %s, largest %s (nearest neighbors of %lld points)\n",
                    number(s.spacing.median).c_str(), number(s.spacing.most).c_str(),
                    static_cast<long long>(s.spacing.samples));
    }
    if (!s.labels.empty()) {
        std::printf("  labels   ");
        std::size_t shown = 0;
        for (const auto& [label, count] : s.labels) {
            if (++shown > kLabelsShown) break;
            std::printf(" %lld: %lld points%s", static_cast<long long>(label),
                        static_cast<long long>(count), shown < s.labels.size() ? "," : "");
        }
        if (s.labels.size() > kLabelsShown) std::printf(" ... %zu labels", s.labels.size());
        if (s.many_labels) std::printf(" and more");
        std::printf("\n");
    }
}

} // namespace

Run add_info(CLI::App& app) {
    struct Options {
        std::vector<std::string> files;
        std::string frames;
    };
    auto o = std::make_shared<Options>();
    app.add_option("files", o->files,
                   "files to read; #### stands for the frame number, - for standard input")
        ->required();
    app.add_option("--frames", o->frames,
                   "frames of a #### name, as 1-100x2 (default: all existing files)");
    return [o](Session& session) {
        Json all = Json::array();
        for (const std::string& pattern : o->files) {
            session.attempt([&] {
                for (const FramedName& file : expand_frames(pattern, o->frames)) {
                    session.attempt([&] {
                        const OpenedCloud opened = session.open(file.name);
                        const Statistics s =
                            measure(*opened.cloud, session.progress(opened.cloud->file_name));
                        if (session.json) {
                            all.push_back(describe(opened, s));
                        } else {
                            print(opened, s);
                        }
                    });
                }
            });
        }
        if (session.json) {
            std::printf("%s\n", all.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
        }
    };
}

} // namespace vx::cache
