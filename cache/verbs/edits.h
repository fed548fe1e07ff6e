// Changes of attributes: the options --rename, --set, --cast, --drop and --keep.
#pragma once

#include "cache/verbs/session.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

namespace vx::cache {

class ConvertedCloud;

// The layers of clouds that edits add. They refer to each other and to the cloud below.
struct EditLayers {
    std::vector<CloudPtr> owned;
    std::vector<const ConvertedCloud*> converted;

    // Prints a note for each attribute whose values did not fit its type.
    void report(Session& session, const std::string& path) const;
};

struct Edits {
    std::vector<std::string> renames; // OLD=NEW
    std::vector<std::string> sets;    // NAME=EXPRESSION[,EXPRESSION...]
    std::vector<std::string> casts;   // NAME=TYPE
    std::vector<std::string> drops;
    std::vector<std::string> keeps;

    void add(CLI::App& app);
    // Renames, then sets, then casts, in the order given: what the other options of a verb work on.
    // Throws UsageError, FileError.
    Cloud& apply(Cloud& cloud, EditLayers& layers) const;
    // Leaves out attributes: the last step before a cloud is written. Throws FileError for names
    // that the cloud lacks.
    Cloud& choose(Cloud& cloud, EditLayers& layers) const;
};

} // namespace vx::cache
