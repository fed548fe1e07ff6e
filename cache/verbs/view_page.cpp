#include "cache/verbs/view_page.h"

#include "cache/html/page.h"
#include "cache/verbs/sequence.h"

namespace vx::cache {

namespace {

PageStart::Mode mode_of(ColorKind kind) {
    switch (kind) {
    case ColorKind::color:
        return PageStart::Mode::color;
    case ColorKind::normal:
        return PageStart::Mode::direction;
    case ColorKind::position:
        return PageStart::Mode::place;
    case ColorKind::scalar:
        return PageStart::Mode::value;
    case ColorKind::label:
        return PageStart::Mode::label;
    case ColorKind::plain:
        break;
    }
    return PageStart::Mode::plain;
}

PageStart start_of(Cloud& cloud, const ViewOptions& o) {
    PageStart start;
    const Coloring coloring = choose_coloring(cloud, o.style.by);
    if (!o.style.by.empty()) start.mode = mode_of(coloring.kind);
    start.attribute = coloring.attribute;
    start.component = coloring.component;
    if (o.range && start.mode != PageStart::Mode::value) {
        throw UsageError("--range applies to numbers: choose an attribute with --by");
    }
    start.range = o.range;
    if (o.style.labels) {
        if (cloud.find("tag") < 0)
            throw FileError(cloud.file_name, -1, "no attribute 'tag' (label)");
        start.labels = LabelSet(*o.style.labels).found_in(cloud);
    }
    return start;
}

void write_one(Session& session, const ViewOptions& o, const std::string& input,
               const std::string& name) {
    const OpenedCloud opened = session.open(input);
    OutputFile out(name, o.force);
    PageOptions options;
    options.most_points = o.page_points;
    options.start = start_of(*opened.cloud, o);
    options.progress = session.progress(name);
    Notes notes;
    write_page(*opened.cloud, out, options, notes);
    out.commit();
    for (const std::string& note : notes)
        session.note(name + ": " + note);
    session.record()["points"] = opened.cloud->count;
    session.record()["bytes"] = out.position();
    session.details(name + ": " + std::to_string(out.position()) + " bytes");
}

} // namespace

void write_pages(Session& session, const ViewOptions& o) {
    if (!can_write_page()) {
        throw UsageError("--html: this vx_cache was built without Node.js and npm, which the "
                         "viewer is bundled with");
    }
    session.attempt([&] {
        SequenceOptions sequence;
        sequence.frames = o.frames;
        const std::vector<Step> steps = sequence.steps(session, {o.input}, o.html);
        sequence.run(session, steps,
                     [&](const Step& step) { write_one(session, o, step.inputs[0], step.output); });
    });
}

} // namespace vx::cache
