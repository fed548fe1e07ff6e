/* The versioned C++ interface object of the renderer. Comes in with shader.h. */
#ifndef MI_SHADER_IF_H
#define MI_SHADER_IF_H

#include "shader.h"

#endif
