/// @file
/// The table of file formats.
#pragma once

#include "cache/cloud/attribute_reader.h"
#include "cache/formats/format.h"

#include <memory>
#include <span>
#include <string_view>

namespace vx::cache {

using FilePtr = std::unique_ptr<InputFile>;

/// The description of a format. To add a format, define its constant in a file of its own, and list
/// it in format_table().
struct FormatTraits {
    Format format;
    /// In options and messages.
    std::string_view name;
    /// Of file names: in lower case, without the dot.
    std::span<const std::string_view> extensions;
    /// Whether a file that begins with these bytes (8, or the whole file) has this format. Null if
    /// the format has no signature.
    bool (*recognizes)(std::string_view start);
    /// See open_cloud(). Takes ownership of the file.
    CloudPtr (*open)(FilePtr file, Findings& findings, const OpenOptions& options);
    /// See write_cloud(). Does not commit the file.
    void (*write)(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);
    /// The widths that attributes may have; empty: any. Attributes of other widths are split into
    /// attributes of one value before `write` is called.
    std::span<const int> widths;
    /// Values of WriteOptions::encoding, the default first; empty if there is only one encoding.
    std::span<const std::string_view> encodings;
};

extern const FormatTraits kPdcFormat;
extern const FormatTraits kMrmapFormat;
extern const FormatTraits kPlyFormat;
extern const FormatTraits kCsvFormat;
extern const FormatTraits kUsdaFormat;
extern const FormatTraits kNpzFormat;
extern const FormatTraits kBgeoFormat;
extern const FormatTraits kXyzFormat;
extern const FormatTraits kPtsFormat;

/// Adds a note if values that the reader has read do not fit their type.
void note_rounding(const AttributeReader& reader, Notes& notes);

/// All formats, in the order of the enumeration.
std::span<const FormatTraits* const> format_table();
const FormatTraits& traits_of(Format format);

} // namespace vx::cache
