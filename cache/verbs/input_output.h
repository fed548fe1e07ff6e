// The input and output of convert, filter and transform: a cloud, or a sequence of frames.
#pragma once

#include "cache/verbs/output.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace vx::cache {

struct InputOutput {
    std::string input;
    std::string output;
    std::string frames;
    OutputOptions options;

    void add(CLI::App& app);
    // Calls f with the cloud of every frame and the name of its output. Throws UsageError when only
    // one of the names has #### or the output has no format.
    void each(Session& session,
              const std::function<void(const OpenedCloud&, const std::string& path)>& f) const;
};

// Prints how many points were kept if the session is verbose, and a warning if none were.
void report_kept(const Session& session, const std::string& path, const Cloud& some,
                 const Cloud& all);

} // namespace vx::cache
