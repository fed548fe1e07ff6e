// view --html: a page for every cloud.
#pragma once

#include "cache/verbs/session.h"
#include "cache/verbs/view_options.h"

namespace vx::cache {

// Throws UsageError in a build without the viewer. Failed files are reported to the session.
void write_pages(Session& session, const ViewOptions& options);

} // namespace vx::cache
