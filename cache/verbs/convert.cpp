// convert: writes a cloud in another format.
#include "cache/cloud/derived.h"
#include "cache/verbs/input_output.h"
#include "cache/verbs/selection.h"
#include "cache/verbs/verbs.h"

#include <memory>

namespace vx::cache {

Run add_convert(CLI::App& app) {
    struct Options {
        InputOutput files;
        Criteria criteria;
    };
    auto o = std::make_shared<Options>();
    o->files.add(app);
    app.add_option_function<std::string>(
        "--labels", [o](const std::string& text) { o->criteria.labels = text; },
        "keep the points of these labels only, as 1,3,5-7");
    return [o](Session& session) {
        if (o->criteria.labels) need_labels("--labels", *o->criteria.labels);
        o->files.each(session, [&](const EditedInput& in, const std::string& path) {
            if (!o->criteria.labels) {
                o->files.options.write(session, in.cloud, path, in.format);
                return;
            }
            SelectedCloud some(in.cloud, select_points(in.cloud, o->criteria));
            report_kept(session, path, some, in.cloud);
            o->files.options.write(session, some, path, in.format);
        });
    };
}

} // namespace vx::cache
