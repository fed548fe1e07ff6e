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
    app.add_option("--frames", frames,
                   "frames of a #### name, as 1-100x2 (default: all existing files)");
    options.add(app);
}

void InputOutput::each(Session& session,
                       const std::function<void(const OpenedCloud&, const std::string&)>& f) const {
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

void report_kept(const Session& session, const std::string& path, const Cloud& some,
                 const Cloud& all) {
    session.details(path + ": kept " + std::to_string(some.count) + " of " +
                    std::to_string(all.count) + " points");
    if (some.count == 0 && all.count > 0) session.note("warning: " + path + ": no point is left");
}

} // namespace vx::cache
