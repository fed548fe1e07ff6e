#include "cache/verbs/input_output.h"

namespace vx::cache {

void InputOutput::add(CLI::App& app) {
    app.add_option("input", input,
                   "the cloud to read; #### stands for the frame number, - for standard input")
        ->required();
    app.add_option("output", output,
                   "the file to write; its extension determines the format; needs #### when the "
                   "input has it")
        ->required();
    sequence.add(app, true);
    options.add(app);
}

void InputOutput::each(Session& session,
                       const std::function<void(const EditedInput&, const std::string&)>& f) {
    (void)options.write_options(options.format_for(output));
    options.force = options.force || sequence.newer;
    session.attempt([&] {
        const std::vector<Step> steps = sequence.steps(session, {input}, output);
        sequence.run(session, steps, [&](const Step& step) {
            const OpenedCloud opened = session.open(step.inputs[0]);
            EditLayers layers;
            session.record()["points_read"] = opened.cloud->count;
            f({options.edits.apply(*opened.cloud, layers), opened.format}, step.output);
            layers.report(session, step.output);
        });
    });
}

void report_kept(Session& session, const std::string& path, const Cloud& some, const Cloud& all) {
    session.record()["kept"] = some.count;
    session.record()["dropped"] = all.count - some.count;
    session.details(path + ": kept " + std::to_string(some.count) + " of " +
                    std::to_string(all.count) + " points");
    if (some.count == 0 && all.count > 0) session.warning(path + ": no point is left");
}

} // namespace vx::cache
