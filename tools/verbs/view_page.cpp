#include "tools/verbs/view_page.h"

#include "tools/html/page.h"

namespace vx::cache {

namespace {

void write_one(Session& session, const ViewOptions& o, const std::string& input,
               const std::string& name) {
    const OpenedCloud opened = session.open(input);
    OutputFile out(name, o.force);
    PageOptions options;
    options.most_points = o.page_points;
    options.progress = session.progress(name);
    Notes notes;
    write_page(*opened.cloud, out, options, notes);
    out.commit();
    for (const std::string& note : notes)
        session.note(name + ": " + note);
    session.details(name + ": " + std::to_string(out.position()) + " bytes");
}

} // namespace

void write_pages(Session& session, const ViewOptions& o) {
    if (!can_write_page()) {
        throw UsageError("--html: this vx_cache was built without Node.js and npm, which the "
                         "viewer is bundled with");
    }
    session.attempt([&] {
        for (const FramedName& file : expand_frames(o.input, o.frames)) {
            session.attempt([&] {
                write_one(session, o, file.name,
                          file.framed ? name_of_frame(o.html, file.frame) : o.html);
            });
        }
    });
}

} // namespace vx::cache
