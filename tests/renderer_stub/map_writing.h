// What the stand-in's interface makes for a writer of maps: declarations, maps and elements that
// record what is done to them. They belong to the Maps that is alive.
#pragma once

#include "mi_shader_if.h"
#include "shader.h"

namespace vx::stub {

mi::shader_v3::Map_declaration_base* new_declaration(miUint dimension);
// Both throw for what no new_declaration made.
mi::shader_v3::Edit_map_dbhandle* new_map(const mi::shader_v3::Map_declaration_base* declaration);
mi::shader_v3::Map_element_base*
new_element(const mi::shader_v3::Map_declaration_base* declaration);

} // namespace vx::stub
