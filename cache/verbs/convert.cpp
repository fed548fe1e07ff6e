// The verbs that make clouds of clouds: convert, filter, merge, transform.
#include "cache/cloud/derived.h"
#include "cache/verbs/output.h"
#include "cache/verbs/selection.h"
#include "cache/verbs/verbs.h"

#include <cmath>
#include <memory>

namespace vx::cache {

namespace {

struct Pair {
    std::string input;
    std::string output;
    std::string frames;
    OutputOptions options;

    void add(CLI::App& app) {
        app.add_option("input", input,
                       "the cloud to read; #### stands for the frame, - for the standard input")
            ->required();
        app.add_option(
               "output", output,
               "the file to write; its name tells the format; needs #### when the input has it")
            ->required();
        app.add_option(
            "--frames", frames,
            "only these frames of a #### name, as 1-100x2; without it all that are there");
        options.add(app);
    }
    // Calls f with the cloud of every frame and the name of its output.
    template <typename F>
    void each(Session& session, F&& f) const {
        if (has_frame_field(input) != has_frame_field(output)) {
            throw UsageError("either both names have #### or neither");
        }
        (void)options.write_options(options.format_for(output));
        session.attempt([&] {
            for (const FramedName& file : expand_frames(input, frames)) {
                session.attempt([&] {
                    const OpenedCloud opened = session.open(file.name);
                    f(opened, file.framed ? name_of_frame(output, file.frame) : output);
                });
            }
        });
    }
};

void add_criteria(CLI::App& app, Criteria& c, std::vector<std::string>& texts) {
    texts.resize(4);
    app.add_option_function<std::string>(
           "--labels", [&c](const std::string& text) { c.labels = text; },
           "labels to keep, as 1,3,5-7")
        ->group("Criteria");
    app.add_option("--box", texts[0], "x,y,z,X,Y,Z: points within the box of these corners")
        ->group("Criteria");
    app.add_option("--around", texts[1], "x,y,z,r: points no farther than r from x,y,z")
        ->group("Criteria");
    app.add_option("--cone", texts[2],
                   "x,y,z,a: points whose normal is within an angle of a degrees of x,y,z")
        ->group("Criteria");
    app.add_option("--opacity", texts[3], "least,most: points with an opacity in this range")
        ->group("Criteria");
    app.add_flag("--invert", c.invert,
                 "keep the points that the criteria refuse; thinning comes after it")
        ->group("Criteria");
    app.add_option("--random", c.random, "keep this share of the points, chosen at random")
        ->check(CLI::Range(0.0, 1.0))
        ->group("Thinning");
    app.add_option("--seed", c.seed, "a number that stands for another random choice (default 0)")
        ->group("Thinning");
    app.add_option("--spacing", c.spacing,
                   "keep points that are at least so far from all that were kept before")
        ->check(CLI::NonNegativeNumber)
        ->group("Thinning");
}

void take_texts(Criteria& c, const std::vector<std::string>& texts) {
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

void say_kept(const Session& session, const std::string& path, const Cloud& some,
              const Cloud& all) {
    session.details(path + ": kept " + std::to_string(some.count) + " of " +
                    std::to_string(all.count) + " points");
}

} // namespace

Run add_convert(CLI::App& app) {
    struct Options {
        Pair pair;
        std::optional<std::string> labels;
    };
    auto o = std::make_shared<Options>();
    o->pair.add(app);
    app.add_option_function<std::string>(
        "--labels", [o](const std::string& text) { o->labels = text; },
        "keep the points of these labels only, as 1,3,5-7");
    return [o](Session& session) {
        o->pair.each(session, [&](const OpenedCloud& opened, const std::string& path) {
            if (!o->labels) {
                o->pair.options.write(session, *opened.cloud, path, opened.format);
                return;
            }
            Criteria criteria;
            criteria.labels = o->labels;
            SelectedCloud some(*opened.cloud, select_points(*opened.cloud, criteria));
            say_kept(session, path, some, *opened.cloud);
            o->pair.options.write(session, some, path, opened.format);
        });
    };
}

Run add_filter(CLI::App& app) {
    struct Options {
        Pair pair;
        Criteria criteria;
        std::vector<std::string> texts;
    };
    auto o = std::make_shared<Options>();
    o->pair.add(app);
    add_criteria(app, o->criteria, o->texts);
    return [o](Session& session) {
        take_texts(o->criteria, o->texts);
        o->pair.each(session, [&](const OpenedCloud& opened, const std::string& path) {
            SelectedCloud some(*opened.cloud, select_points(*opened.cloud, o->criteria));
            say_kept(session, path, some, *opened.cloud);
            o->pair.options.write(session, some, path, opened.format);
        });
    };
}

Run add_merge(CLI::App& app) {
    struct Options {
        std::vector<std::string> inputs;
        std::string output;
        std::string frames;
        double distance = 0;
        bool keep_ids = false;
        OutputOptions options;
    };
    auto o = std::make_shared<Options>();
    app.add_option("inputs", o->inputs, "clouds to join; #### stands for the frame")->required();
    app.add_option("-o,--output", o->output, "the file to write; its name tells the format")
        ->required();
    app.add_option("--frames", o->frames,
                   "only these frames of a #### name, as 1-100x2; without it all that are there");
    app.add_option("--distance", o->distance,
                   "drop points that are nearer than this to an earlier one")
        ->check(CLI::NonNegativeNumber);
    app.add_flag("--keep-ids", o->keep_ids, "keep ids as they are; without it they count from 0");
    o->options.add(app);
    return [o](Session& session) {
        (void)o->options.write_options(o->options.format_for(o->output));
        std::vector<CloudPtr> clouds;
        for (const std::string& pattern : o->inputs) {
            session.attempt([&] {
                for (const FramedName& file : expand_frames(pattern, o->frames))
                    session.attempt([&] { clouds.push_back(session.open(file.name).cloud); });
            });
        }
        if (session.failed) {
            session.error(o->output + ": not written, since an input is missing");
            return;
        }
        session.attempt([&] {
            MergedCloud all(std::move(clouds), !o->keep_ids);
            if (!(o->distance > 0)) {
                o->options.write(session, all, o->output);
                return;
            }
            Criteria criteria;
            criteria.spacing = o->distance;
            std::vector<CloudPtr> one;
            one.push_back(std::make_unique<SelectedCloud>(all, select_points(all, criteria)));
            MergedCloud renumbered(std::move(one), !o->keep_ids);
            say_kept(session, o->output, renumbered, all);
            o->options.write(session, renumbered, o->output);
        });
    };
}

Run add_transform(CLI::App& app) {
    struct Options {
        Pair pair;
        std::string matrix;
        std::string translate;
        double scale = 1;
        std::string up;
    };
    auto o = std::make_shared<Options>();
    o->pair.add(app);
    app.add_option("--scale", o->scale, "a factor for all lengths; applied first");
    app.add_option("--up", o->up, "turn the up axis: y-to-z or z-to-y; applied second")
        ->check(CLI::IsMember({"y-to-z", "z-to-y"}));
    app.add_option("--matrix", o->matrix,
                   "16 numbers with commas, rows as in scene files, the translation in the last; "
                   "applied third");
    app.add_option("--translate", o->translate, "x,y,z to add; applied last");
    return [o](Session& session) {
        if (!(o->scale > 0) || !std::isfinite(o->scale))
            throw UsageError("--scale: must be above 0");
        const double s = o->scale;
        Matrix m{s, 0, 0, 0, 0, s, 0, 0, 0, 0, s, 0, 0, 0, 0, 1};
        if (o->up == "y-to-z") m = multiply(m, {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1});
        if (o->up == "z-to-y") m = multiply(m, {1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1});
        if (!o->matrix.empty()) {
            Matrix given{};
            const std::vector<double> numbers = parse_numbers(o->matrix, 16, "--matrix");
            std::copy(numbers.begin(), numbers.end(), given.begin());
            if (given[3] != 0 || given[7] != 0 || given[11] != 0 || given[15] != 1) {
                throw UsageError("--matrix: the last column must be 0,0,0,1");
            }
            m = multiply(m, given);
        }
        if (!o->translate.empty()) {
            const std::vector<double> t = parse_numbers(o->translate, 3, "--translate");
            m = multiply(m, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, t[0], t[1], t[2], 1});
        }
        o->pair.each(session, [&](const OpenedCloud& opened, const std::string& path) {
            TransformedCloud moved(*opened.cloud, m);
            o->pair.options.write(session, moved, path, opened.format);
        });
    };
}

} // namespace vx::cache
