// convert: writes a cloud in another format.
#include "cache/cloud/derived.h"
#include "cache/verbs/input_output.h"
#include "cache/verbs/selection.h"
#include "cache/verbs/verbs.h"

#include <memory>
#include <optional>

namespace vx::cache {

Run add_convert(CLI::App& app) {
    struct Options {
        InputOutput files;
        std::optional<std::string> labels;
    };
    auto o = std::make_shared<Options>();
    o->files.add(app);
    app.add_option_function<std::string>(
        "--labels", [o](const std::string& text) { o->labels = text; },
        "keep the points of these labels only, as 1,3,5-7");
    return [o](Session& session) {
        if (o->labels) need_labels("--labels", *o->labels);
        o->files.each(session, [&](const OpenedCloud& opened, const std::string& path) {
            if (!o->labels) {
                o->files.options.write(session, *opened.cloud, path, opened.format);
                return;
            }
            Criteria criteria;
            criteria.labels = o->labels;
            SelectedCloud some(*opened.cloud, select_points(*opened.cloud, criteria));
            report_kept(session, path, some, *opened.cloud);
            o->files.options.write(session, some, path, opened.format);
        });
    };
}

} // namespace vx::cache
