// Short names for the interface's classes.
#pragma once

#include "shader.h"

namespace vx::maps {

using mi::shader_v3::Access_map_dbhandle;
using mi::shader_v3::Edit_map_dbhandle;
using mi::shader_v3::Interface;
using mi::shader_v3::Map_base;
using mi::shader_v3::Map_column;
using mi::shader_v3::Map_declaration_base;
using mi::shader_v3::Map_distance_base;
using mi::shader_v3::Map_element_base;
using mi::shader_v3::Map_field_id;
using mi::shader_v3::Map_field_type;
using mi::shader_v3::Map_iterator_base;
using mi::shader_v3::Map_lookup_base;
using mi::shader_v3::map_no_such_field;
using mi::shader_v3::Map_result;
using mi::shader_v3::Map_status;
using Status = mi::shader_v3::Map_status::Status_code;

inline constexpr unsigned kMaxDimension = 6;

// Stores a status unless the caller passed null.
inline void report(Map_status* where, Status status) {
    if (where != nullptr) *where = status;
}

} // namespace vx::maps
