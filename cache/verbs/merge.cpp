// merge: joins clouds into one.
#include "cache/cloud/derived.h"
#include "cache/verbs/input_output.h"
#include "cache/verbs/selection.h"
#include "cache/verbs/verbs.h"

#include <memory>

namespace vx::cache {

namespace {

struct Options {
    std::vector<std::string> inputs;
    std::string output;
    SequenceOptions sequence;
    double distance = 0;
    bool keep_ids = false;
    OutputOptions options;
};

void join(Session& session, const Options& o, const Step& step) {
    std::vector<CloudPtr> clouds;
    EditLayers layers;
    std::vector<CloudPtr> filled;
    std::vector<Cloud*> edited;
    std::int64_t points = 0;
    for (const std::string& input : step.inputs) {
        session.attempt([&] {
            clouds.push_back(session.open(input).cloud);
            points += clouds.back()->count;
            edited.push_back(
                &o.options.fill(o.options.edits.apply(*clouds.back(), layers), filled));
        });
    }
    if (edited.size() != step.inputs.size()) {
        session.error(step.output + ": not written, since an input is missing");
        return;
    }
    session.record()["points_read"] = points;
    // Attributes that are not written need not be in all of the clouds.
    for (Cloud*& cloud : edited)
        cloud = &o.options.edits.choose(*cloud, layers);
    OutputOptions output = o.options;
    output.edits = {};
    MergedCloud all(edited, !o.keep_ids);
    if (o.distance > 0) {
        Criteria criteria;
        criteria.spacing = o.distance;
        SelectedCloud some(all, select_points(all, criteria));
        MergedCloud renumbered({&some}, !o.keep_ids);
        report_kept(session, step.output, renumbered, all);
        output.write(session, renumbered, step.output);
    } else {
        output.write(session, all, step.output);
    }
    layers.report(session, step.output);
}

} // namespace

Run add_merge(CLI::App& app) {
    auto o = std::make_shared<Options>();
    app.add_option("inputs", o->inputs, "clouds to join; #### stands for the frame number")
        ->required();
    app.add_option("-o,--output", o->output,
                   "the file to write; its extension determines the format")
        ->required();
    o->sequence.add(app, true);
    app.add_option("--distance", o->distance,
                   "drop points that are closer than this to an earlier one")
        ->check(CLI::NonNegativeNumber);
    app.add_flag("--keep-ids", o->keep_ids,
                 "keep ids unchanged (default: number the points from 0)");
    o->options.add(app);
    return [o](Session& session) {
        (void)o->options.write_options(o->options.format_for(o->output));
        o->options.force = o->options.force || o->sequence.newer;
        session.attempt([&] {
            const std::vector<Step> steps = o->sequence.steps(session, o->inputs, o->output, true);
            if (session.failed && !steps.empty() && !steps[0].framed) {
                session.error(o->output + ": not written, since an input is missing");
                return;
            }
            o->sequence.run(session, steps, [&](const Step& step) { join(session, *o, step); });
        });
    };
}

} // namespace vx::cache
