/*
 * What stands in for a shader that was not declared, so that a scene renders all the same: a grey
 * Lambert surface as a material, a white light with shadows as a light, an opaque occluder as a
 * shadow shader, nothing as a lens, an environment or a volume, and a constant grey where its
 * value is asked for.
 */
#pragma once

#include <string>

#include "host/shading/declaration.h"

namespace vx::shading {

/* A declaration of this name without parameters, with a colour as its result. */
scene::Declaration stand_in_declaration(const std::string& name);
ShaderCode stand_in_code();

} // namespace vx::shading
