/// @file
/// Attributes that formats of 32-bit values store as integers.
#pragma once

#include "cache/cloud/cloud.h"

namespace vx::cache {

/// Whether an attribute is written as int32: integers and the attributes "id" and "tag", whatever
/// their type, if every value is a whole number that fits. Reads all values of the attribute unless
/// its type decides.
/// @throws FileError
bool holds_int32(Cloud& cloud, std::size_t attribute);

/// The type of an attribute in a file for programs that expect 32-bit values: int32 as above;
/// float64 for integers that do not fit; otherwise float32.
/// @throws FileError
Type narrow_type(Cloud& cloud, std::size_t attribute);

} // namespace vx::cache
