// The options of every verb that writes a cloud.
#pragma once

#include "cache/cloud/attribute_reader.h"
#include "cache/verbs/edits.h"
#include "cache/verbs/session.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <span>
#include <string>

namespace vx::cache {

struct OutputOptions {
    std::string format;
    std::string encoding;
    bool force = false;
    bool byte_color = false;
    bool all_fields = false;
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

// The labels of a list in the shaders' syntax.
class LabelSet {
  public:
    explicit LabelSet(const std::string& text);
    ~LabelSet();
    LabelSet(const LabelSet&) = delete;
    LabelSet& operator=(const LabelSet&) = delete;
    bool holds(std::int32_t label) const;
    std::span<const int> values() const { return {m_labels, static_cast<std::size_t>(m_count)}; }

  private:
    int* m_labels = nullptr;
    int m_count = 0;
};

// The label of every point as the shaders read it: truncated, its low 32 bits; 0 without labels.
class LabelReader {
  public:
    explicit LabelReader(Cloud& cloud);
    std::span<const std::int32_t> read(std::int64_t first, std::int64_t n);

  private:
    std::optional<TypedReader<std::int32_t>> m_reader;
    std::vector<std::int32_t> m_zeros;
};

} // namespace vx::cache
