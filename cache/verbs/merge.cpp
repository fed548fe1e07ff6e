// merge: joins clouds into one.
#include "cache/cloud/derived.h"
#include "cache/verbs/input_output.h"
#include "cache/verbs/selection.h"
#include "cache/verbs/verbs.h"

#include <memory>

namespace vx::cache {

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
    app.add_option("inputs", o->inputs, "clouds to join; #### stands for the frame number")
        ->required();
    app.add_option("-o,--output", o->output,
                   "the file to write; its extension determines the format")
        ->required();
    app.add_option("--frames", o->frames,
                   "frames of a #### name, as 1-100x2 (default: all existing files)");
    app.add_option("--distance", o->distance,
                   "drop points that are closer than this to an earlier one")
        ->check(CLI::NonNegativeNumber);
    app.add_flag("--keep-ids", o->keep_ids,
                 "keep ids unchanged (default: number the points from 0)");
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
            std::vector<CloudPtr> layers;
            std::vector<Cloud*> filled;
            for (const CloudPtr& cloud : clouds)
                filled.push_back(&o->options.fill(*cloud, layers));
            MergedCloud all(std::move(filled), !o->keep_ids);
            if (!(o->distance > 0)) {
                o->options.write(session, all, o->output);
                return;
            }
            Criteria criteria;
            criteria.spacing = o->distance;
            SelectedCloud some(all, select_points(all, criteria));
            MergedCloud renumbered({&some}, !o->keep_ids);
            report_kept(session, o->output, renumbered, all);
            o->options.write(session, renumbered, o->output);
        });
    };
}

} // namespace vx::cache
