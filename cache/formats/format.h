/// @file
/// Reading and writing clouds in files of any format. The formats themselves are described in
/// format_traits.h.
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

enum class Format { pdc, mrmap, ply, csv, usda, npz, bgeo, xyz, pts };

std::string_view format_name(Format format);
/// The format of a file name's extension; case is ignored, and a frame number may follow it.
std::optional<Format> format_of_name(std::string_view path);
/// The format with this name, ignoring case.
std::optional<Format> format_of_word(std::string_view word);

enum class Severity { note, warning, error };
std::string_view severity_name(Severity severity);

/// Something unusual in a file that can be read.
struct Finding {
    Severity severity = Severity::note;
    std::int64_t offset = -1; ///< in bytes; -1 if it is not about one place
    std::string text;
};
using Findings = std::vector<Finding>;

struct OpenOptions {
    /// Values of text files that exceed this limit are stored in a temporary file.
    std::int64_t memory_bytes = std::int64_t{256} << 20;
    /// usda: where values are animated, the last sample that is not after this time is read, or
    /// else the first sample. Without a time, the first sample.
    std::optional<double> time;
};

struct OpenedCloud {
    Format format = Format::pdc;
    CloudPtr cloud;
};

/// Opens a file in the format of its content, or else of its name. Counts and sizes in the file are
/// checked against the size of the file before memory is allocated for them.
/// @param path      "-" stands for the standard input
/// @param findings  what is unusual is appended
/// @throws FileError
OpenedCloud open_cloud(const std::string& path, Findings& findings, const OpenOptions& = {});

/// Colors as bytes, from linear values cut to 0 to 1.
enum class ByteColor {
    none,
    linear, ///< 255 times the value
    srgb    ///< 255 times the value on the sRGB curve, as displays expect it
};

struct WriteOptions {
    bool force = false;
    /// ply: little, big or ascii; mrmap: closed, open or ascii. Empty: the first.
    std::string encoding;
    /// ply: byte colors in addition to rgbPP, for viewers; pts: the curve of the colors, which are
    /// bytes always (none: linear).
    ByteColor byte_color = ByteColor::none;
    /// ply: all bits of 64-bit values, which are 32-bit floats and integers otherwise.
    bool full_precision = false;
    /// pdc: keep int32 attributes and single values. Otherwise every attribute is an array of
    /// numbers or of vectors, as in bakes.
    bool pdc_keep_types = false;
    bool all_fields = true; ///< mrmap: every attribute, or the four of the shaders' own maps
    std::function<void(std::int64_t done, std::int64_t total)> progress;
};

/// What is lost in a conversion, one sentence per item.
using Notes = std::vector<std::string>;

/// Writes a cloud.
/// @return what the format cannot hold
/// @throws FileError  no file is left behind then
Notes write_cloud(Cloud& cloud, const std::string& path, Format format, const WriteOptions&);

} // namespace vx::cache
