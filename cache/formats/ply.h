/// @file
/// The parts of the format ply; see FormatTraits.
#pragma once

#include "cache/formats/format_traits.h"

namespace vx::cache {

CloudPtr open_ply(FilePtr file, Findings& findings, const OpenOptions& options);
void write_ply(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);

} // namespace vx::cache
