#include "cache/verbs/sequence.h"
#include "cache/verbs/statistics.h"
#include "cache/verbs/verbs.h"

#include <cmath>
#include <cstdio>
#include <memory>

namespace vx::cache {

namespace {

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

void describe(const OpenedCloud& opened, const Statistics& s, Json& out) {
    const Cloud& cloud = *opened.cloud;
    out["file"] = cloud.file_name;
    out["format"] = format_name(opened.format);
    out["details"] = Json::object();
    for (const auto& [name, text] : cloud.details)
        out["details"][name] = text;
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
}

// The names of the attributes, for one line per file.
void print_short(const OpenedCloud& opened) {
    const Cloud& cloud = *opened.cloud;
    std::string names;
    for (const Attribute& a : cloud.attributes)
        names += (names.empty() ? "" : " ") + shown(a.name);
    std::printf("%s: %s, %lld points, %s\n", shown(cloud.file_name).c_str(),
                std::string(format_name(opened.format)).c_str(),
                static_cast<long long>(cloud.count), names.c_str());
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
        SequenceOptions sequence;
        bool brief = false;
    };
    auto o = std::make_shared<Options>();
    app.add_option("files", o->files,
                   "files to read; #### stands for the frame number, - for standard input")
        ->required();
    app.add_flag("--short", o->brief, "one line per file: format, points, attributes");
    o->sequence.add(app, false);
    return [o](Session& session) {
        for (const std::string& pattern : o->files) {
            session.attempt([&] {
                const std::vector<Step> steps = o->sequence.steps(session, {pattern});
                o->sequence.run(session, steps, [&](const Step& step) {
                    const OpenedCloud opened = session.open(step.inputs[0]);
                    if (o->brief && !session.json) {
                        print_short(opened);
                        return;
                    }
                    const Statistics s =
                        measure(*opened.cloud, session.progress(opened.cloud->file_name));
                    if (session.json) {
                        describe(opened, s, session.record());
                    } else {
                        print(opened, s);
                    }
                });
            });
        }
    };
}

} // namespace vx::cache
