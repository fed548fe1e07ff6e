// The library's one rule for reading a shader parameter.
#pragma once

#include "src/platform/shader_access.h"
#include "src/tag/tag.h"

// The address of the effective value of the parameter at `param`: `param` itself, or, when another
// shader is connected to it, what that shader returned, valid until the next evaluation. The record
// of the shader that `state` runs determines whether `param` is connected; `param` is meant to lie
// in that record's parameter block.
inline void* eval(miState* state, char* param) {
    const miFunction* running = state->shader;
    if (ConnectionFlag(running) != 1) return param;
    if (ConnectedShader(running, param) == miNULLTAG) return param;
    return EvaluateConnection(state, param);
}

// The same, read by value: T is the C type of the parameter.
template <class T>
T evalValue(miState* state, T* param) {
    return *static_cast<T*>(eval(state, reinterpret_cast<char*>(param)));
}

// The integer parameter `tag` of a vx_pc_tag record. The record of the shader that `state` runs,
// not `function`, determines whether it is connected.
inline int evalInt(miState* state, miFunction* function) {
    char* const param = function->parameters + offsetof(TagParameters, tag);
    return *static_cast<miInteger*>(eval(state, param));
}
