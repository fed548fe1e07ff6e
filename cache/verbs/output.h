// The options of every verb that writes a cloud.
#pragma once

#include "cache/cloud/label_set.h"
#include "cache/verbs/edits.h"
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
    std::vector<std::string> fills; // NAME=VALUES
    Edits edits;

    void add(CLI::App& app);
    // Throws UsageError if neither the option nor the name determines the format.
    Format format_for(const std::string& path) const;
    WriteOptions write_options(Format format) const;
    // Adds an attribute for each of `fills` that the cloud lacks; returns the cloud itself if there
    // are none. The layers own what is added; the cloud must outlive them. Throws UsageError.
    Cloud& fill(Cloud& cloud, std::vector<CloudPtr>& layers) const;
    // Writes the cloud and reports what the format cannot represent. Refuses maps that vx_pc_read
    // cannot use.
    void write(Session& session, Cloud& cloud, const std::string& path,
               std::optional<Format> source = std::nullopt) const;
};

// Throws UsageError if a list in the shaders' syntax has no label at all.
void need_labels(const std::string& option, const std::string& text);

} // namespace vx::cache
