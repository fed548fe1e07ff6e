// The options of every verb that writes a cloud.
#pragma once

#include "cache/cloud/label_set.h"
#include "cache/verbs/session.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace vx::cache {

struct OutputOptions {
    std::string format;
    std::string encoding;
    bool force = false;
    std::string byte_color;
    bool full_precision = false;
    bool all_fields = false;
    std::string pdc_types = "bake";

    void add(CLI::App& app);
    // Throws UsageError if neither the option nor the name determines the format.
    Format format_for(const std::string& path) const;
    WriteOptions write_options(Format format) const;
    // Writes the cloud and reports what the format cannot represent.
    void write(Session& session, Cloud& cloud, const std::string& path,
               std::optional<Format> source = std::nullopt) const;
};

} // namespace vx::cache
