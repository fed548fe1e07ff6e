// view --html: a page for every cloud.
#pragma once

#include "cache/verbs/session.h"
#include "cache/verbs/view_options.h"

namespace vx::cache {

// Throws UsageError in a build that has no viewer; what goes wrong with a file goes to the session.
void write_pages(Session& session, const ViewOptions& options);

} // namespace vx::cache
