// The table of file formats.
#pragma once

#include "cache/cloud/attribute_reader.h"
#include "cache/formats/format.h"

#include <memory>
#include <span>
#include <string_view>

namespace vx::cache {

using FilePtr = std::unique_ptr<InputFile>;

/// One format. Each is defined in a file of its own and listed in format_table().
struct FormatTraits {
    Format format;
    /// As options and messages call it.
    std::string_view name;
    /// Of file names, in lower case, without the dot.
    std::span<const std::string_view> extensions;
    /// Whether a file that begins with these bytes (up to 8) is in this format. Null if the format
    /// has no signature.
    bool (*recognizes)(std::string_view start);
    /// Takes ownership of the file. Throws FileError.
    CloudPtr (*open)(FilePtr file, Findings& findings, const OpenOptions& options);
    /// Writes the whole cloud and notes what the format cannot hold. Throws FileError.
    void (*write)(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);
    /// How many values an attribute may have per point; empty: any number. Other attributes are
    /// split into attributes of one value before `write` is called.
    std::span<const int> widths;
    /// Values of --encoding, the default first; empty if the format has one encoding only.
    std::span<const std::string_view> encodings;
};

extern const FormatTraits kPdcFormat;
extern const FormatTraits kMrmapFormat;
extern const FormatTraits kPlyFormat;
extern const FormatTraits kCsvFormat;
extern const FormatTraits kUsdaFormat;
extern const FormatTraits kNpzFormat;

/// Adds a note if values were rounded.
void note_rounding(const AttributeReader& reader, Notes& notes);

/// All formats, in the order of the enumeration.
std::span<const FormatTraits* const> format_table();
const FormatTraits& traits_of(Format format);

} // namespace vx::cache
