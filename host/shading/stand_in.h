// The replacement for shaders that were not declared, with which a scene still renders: a gray
// Lambert surface as a material, a white light with shadows as a light, an opaque occluder as a
// shadow shader, no effect as a lens, an environment or a volume, and constant gray as a value.
#pragma once

#include <string>

#include "host/shading/declaration.h"

namespace vx::shading {

// A declaration of this name without parameters, with a color as its result.
scene::Declaration stand_in_declaration(const std::string& name);
ShaderCode stand_in_code();

} // namespace vx::shading
