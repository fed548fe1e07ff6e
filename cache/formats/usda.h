/// @file
/// The parts of the format usda; see FormatTraits.
#pragma once

#include "cache/formats/format_traits.h"

namespace vx::cache {

CloudPtr open_usda(FilePtr file, Findings& findings, const OpenOptions& options);
void write_usda(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);

} // namespace vx::cache
