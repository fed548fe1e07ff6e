// The table of file formats, for the formats themselves and for what works on any of them.
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
    /// Whether a file that begins with these bytes (up to 8 of them) is in this format. Null if
    /// the content does not tell.
    bool (*recognizes)(std::string_view start);
    /// Takes the file over. Throws FileError.
    CloudPtr (*open)(FilePtr file, Findings& findings, const OpenOptions& options);
    /// Writes the whole cloud; the notes say what the format cannot hold. Throws FileError.
    void (*write)(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);
    /// How many values an attribute may have per point; empty: any number. Other attributes are
    /// split into attributes of one value before `write` gets the cloud.
    std::span<const int> widths;
    /// Choices of --encoding, the default first; empty: there is none to make.
    std::span<const std::string_view> encodings;
};

extern const FormatTraits pdc_format;
extern const FormatTraits mrmap_format;
extern const FormatTraits ply_format;
extern const FormatTraits csv_format;
extern const FormatTraits usda_format;
extern const FormatTraits npz_format;

/// Adds a sentence if a value changed on its way into the file.
void note_rounding(const AttributeReader& reader, Notes& notes);

/// All formats, in the order of the enumeration.
std::span<const FormatTraits* const> format_table();
const FormatTraits& traits_of(Format format);

} // namespace vx::cache
