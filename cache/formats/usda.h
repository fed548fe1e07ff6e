// The two halves of the format usda, for its entry in the table of formats.
#pragma once

#include "cache/formats/format_traits.h"

namespace vx::cache {

CloudPtr open_usda(FilePtr file, Findings& findings, const OpenOptions& options);
void write_usda(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes);

} // namespace vx::cache
