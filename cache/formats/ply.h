/// @file
/// The parts of the format ply; see FormatTraits.
#pragma once

#include "cache/formats/format_traits.h"

namespace vx::cache {

/// Comments of write_ply(): the start of the line, and what follows. The name of an attribute, and
/// the one that the header cannot hold (percent_encoded()); what bytes of red, green and blue are.
inline constexpr std::string_view kPlyNameComment = "comment vx_cache name ";
inline constexpr std::string_view kPlyByteComment = "comment vx_cache bytes red green blue: ";

CloudPtr open_ply(FilePtr file, Findings& findings, const OpenOptions& options);
void write_ply(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);

} // namespace vx::cache
