// The two halves of the format ply, for its entry in the table of formats.
#pragma once

#include "cache/formats/format_traits.h"

namespace vx::cache {

CloudPtr open_ply(FilePtr file, Findings& findings, const OpenOptions& options);
void write_ply(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);

} // namespace vx::cache
