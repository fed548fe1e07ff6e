// The verbs. Each function adds the options of its subcommand and returns a function that runs it,
// which throws UsageError for invalid options and reports failed files to the session.
#pragma once

#include "cache/verbs/session.h"

#include <CLI/CLI.hpp>

#include <functional>

namespace vx::cache {

using Run = std::function<void(Session&)>;

Run add_info(CLI::App& app);
Run add_check(CLI::App& app);
Run add_lookup(CLI::App& app);
Run add_convert(CLI::App& app);
Run add_filter(CLI::App& app);
Run add_merge(CLI::App& app);
Run add_transform(CLI::App& app);
Run add_diff(CLI::App& app);
Run add_view(CLI::App& app);

} // namespace vx::cache
