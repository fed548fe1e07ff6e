// The input and output of convert, filter and transform: a cloud, or a sequence of frames.
#pragma once

#include "cache/verbs/output.h"
#include "cache/verbs/sequence.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace vx::cache {

// An input with its attributes edited.
struct EditedInput {
    Cloud& cloud;
    Format format;
};

struct InputOutput {
    std::string input;
    std::string output;
    SequenceOptions sequence;
    OutputOptions options;

    void add(CLI::App& app);
    // Calls f with the cloud of every frame and the name of its output. Throws UsageError when only
    // one of the names has #### or the output has no format.
    void each(Session& session,
              const std::function<void(const EditedInput&, const std::string& path)>& f);
};

// Records how many points were kept; prints it if the session is verbose, and a warning if none
// were.
void report_kept(Session& session, const std::string& path, const Cloud& some, const Cloud& all);

} // namespace vx::cache
