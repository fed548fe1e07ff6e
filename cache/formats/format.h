// The file formats of clouds: which one a file has, reading and writing it. The formats themselves
// are in the table of format_traits.h.
#pragma once

#include "cache/cloud/cloud.h"
#include "cache/cloud/error.h"
#include "cache/cloud/file.h"
#include "cache/cloud/spool.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

enum class Format { pdc, mrmap, ply, csv, usda, npz };

std::string_view format_name(Format format);
// By the extension, ignoring case; none if it is unknown.
std::optional<Format> format_of_name(std::string_view path);
std::optional<Format> format_of_word(std::string_view word);

enum class Severity { note, warning, error };
std::string_view severity_name(Severity severity);

// Something unusual in a file that can be read, or the reason why it cannot be read. The byte
// offset is -1 if no place in the file is meant.
struct Finding {
    Severity severity = Severity::note;
    std::int64_t offset = -1;
    std::string text;
};
using Findings = std::vector<Finding>;

struct OpenOptions {
    // Values of text files beyond this go to a temporary file.
    std::int64_t memory_bytes = std::int64_t{256} << 20;
    // usda: the time at which animated values are read: the last sample not after it, or the first
    // sample. Without a time the first sample.
    std::optional<double> time;
};

// An open cloud and the format of its file.
struct OpenedCloud {
    Format format = Format::pdc;
    CloudPtr cloud;
};

// Recognizes the format by content and then by name. Counts and sizes in the file are checked
// against the size of the file before memory is allocated. Throws FileError.
OpenedCloud open_cloud(const std::string& path, Findings& findings, const OpenOptions& = {});

struct WriteOptions {
    bool force = false;
    std::string encoding; // ply: little, big, ascii; mrmap: closed, open, ascii; empty: the first
    bool byte_color = false; // ply: colors as bytes, for viewers
    bool all_fields = true;  // mrmap: every attribute, or the four that the shaders' own maps have
    std::function<void(std::int64_t done, std::int64_t total)> progress;
};

// What the format could not hold, one sentence per item.
using Notes = std::vector<std::string>;

// Writes the whole cloud. Throws FileError, and then leaves no file behind.
Notes write_cloud(Cloud& cloud, const std::string& path, Format format, const WriteOptions&);

} // namespace vx::cache
