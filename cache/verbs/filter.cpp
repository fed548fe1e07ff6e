// filter: keeps some of the points of a cloud.
#include "cache/cloud/derived.h"
#include "cache/verbs/input_output.h"
#include "cache/verbs/selection.h"
#include "cache/verbs/thinning.h"
#include "cache/verbs/verbs.h"

#include <cmath>
#include <cstdio>
#include <memory>

namespace vx::cache {

namespace {

void add_criteria(CLI::App& app, Criteria& c, std::vector<std::string>& texts) {
    texts.resize(4);
    app.add_option_function<std::string>(
           "--labels", [&c](const std::string& text) { c.labels = text; },
           "labels to keep, as 1,3,5-7")
        ->group("Criteria");
    app.add_option("--box", texts[0], "x,y,z,X,Y,Z: keep points inside the box with these corners")
        ->group("Criteria");
    app.add_option("--around", texts[1], "x,y,z,r: keep points within the distance r of x,y,z")
        ->group("Criteria");
    app.add_option("--cone", texts[2],
                   "x,y,z,a: keep points whose normal is within a degrees of the direction x,y,z")
        ->group("Criteria");
    app.add_option("--opacity", texts[3], "min,max: keep points with an opacity in this range")
        ->group("Criteria");
    app.add_option(
           "--where", c.where,
           "expression, as 'opacityPP > 0.5 && position.y < 1 && tag != 4'; keep points for "
           "which it is not 0")
        ->group("Criteria");
    app.add_flag("--invert", c.invert,
                 "keep the points that fail the criteria; applied before thinning")
        ->group("Criteria");
    app.add_option("--random", c.random, "keep this fraction of the points, chosen at random")
        ->check(CLI::Range(0.0, 1.0))
        ->group("Thinning");
    app.add_option("--seed", c.seed, "seed of the random choice (default 0)")->group("Thinning");
    app.add_option("--spacing", c.spacing,
                   "keep points at least this far from all points kept before")
        ->check(CLI::NonNegativeNumber)
        ->group("Thinning");
}

void take_texts(Criteria& c, const std::vector<std::string>& texts) {
    if (c.labels) need_labels("--labels", *c.labels);
    if (!texts[0].empty()) c.box = parse_numbers(texts[0], 6, "--box");
    if (!texts[1].empty()) c.around = parse_numbers(texts[1], 4, "--around");
    if (!texts[2].empty()) c.cone = parse_numbers(texts[2], 4, "--cone");
    if (!c.cone.empty() && !(std::hypot(c.cone[0], c.cone[1], c.cone[2]) > 0)) {
        throw UsageError("--cone: the direction has no length");
    }
    if (texts[3].empty()) return;
    const std::vector<double> opacity = parse_numbers(texts[3], 2, "--opacity");
    c.least_opacity = opacity[0];
    c.most_opacity = opacity[1];
}

// Thinning to a number of points within the radius of a lookup.
struct LookupThinning {
    double radius = 0; // 0: none
    double points = 16;

    void add(CLI::App& app) {
        CLI::Option* const wide =
            app.add_option("--for-radius", radius,
                           "choose the spacing for lookups with this radius: about --points points "
                           "then lie within it")
                ->check(CLI::PositiveNumber)
                ->excludes("--spacing")
                ->group("Thinning");
        app.add_option("--points", points, "number of points within --for-radius")
            ->check(CLI::Range(1.0, 1e9))
            ->capture_default_str()
            ->needs(wide)
            ->group("Thinning");
    }
    void apply(Session& session, Cloud& cloud, const std::string& path,
               std::vector<bool>& keep) const {
        if (!(radius > 0)) return;
        const Thinning chosen = choose_spacing(cloud, keep, radius, points);
        if (chosen.spacing > 0) thin_points(cloud, chosen.spacing, keep);
        session.record()["thinning"] = {{"spacing", chosen.spacing},
                                        {"points_per_lookup_before", chosen.before},
                                        {"points_per_lookup_after", chosen.after}};
        char text[200];
        (void)std::snprintf(text, sizeof text,
                            "spacing %.4g; a lookup with the radius %.4g visits about %.0f points, "
                            "%.0f before",
                            chosen.spacing, radius, chosen.after, chosen.before);
        session.note(path + ": " + text);
    }
};

} // namespace

Run add_filter(CLI::App& app) {
    struct Options {
        InputOutput files;
        Criteria criteria;
        std::vector<std::string> texts;
        LookupThinning thinning;
    };
    auto o = std::make_shared<Options>();
    o->files.add(app);
    add_criteria(app, o->criteria, o->texts);
    o->thinning.add(app);
    return [o](Session& session) {
        take_texts(o->criteria, o->texts);
        o->files.each(session, [&](const EditedInput& in, const std::string& path) {
            std::vector<bool> keep = select_points(in.cloud, o->criteria);
            o->thinning.apply(session, in.cloud, path, keep);
            SelectedCloud some(in.cloud, std::move(keep));
            report_kept(session, path, some, in.cloud);
            o->files.options.write(session, some, path, in.format);
        });
    };
}

} // namespace vx::cache
