// Evaluation of shader parameters.
#pragma once

#include "src/platform/shader_access.h"
#include "src/tag/tag.h"

// Evaluates the parameter at `param` and returns the address of its value: `param`, or the result
// of a connected shader, which is valid until the next evaluation. `param` should be in the
// parameter block of the shader that `state` runs, whose record determines whether it is connected.
inline void* eval(miState* state, char* param) {
    const miFunction* running = state->shader;
    if (ConnectionFlag(running) != 1) return param;
    if (ConnectedShader(running, param) == miNULLTAG) return param;
    return EvaluateConnection(state, param);
}

// As eval(), by value. T is the C type of the parameter.
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
