// The library's one rule for reading a shader parameter.
#ifndef VX_SRC_TAG_EVAL_H
#define VX_SRC_TAG_EVAL_H

#include "shader.h"
#include "src/platform/shader_access.h"

#include <cstring>

// The address at which the effective value of the parameter at `param` lies: `param` itself, or,
// when another shader is connected to it, what that shader returned, good until the next
// evaluation. Whether there is a connection, and where its tag lies, the record of the shader that
// `state` runs says: `param` is meant to lie in that record's block.
inline void* eval(miState* state, char* param) {
    const miFunction* running = state->shader;
    if (ConnectionFlag(running) != 1) return param;
    miTag connection;
    std::memcpy(&connection, param + running->ghost_offs, sizeof connection);
    constexpr auto kPlain = static_cast<miTag>(-2);
    if (connection == miNULLTAG || connection == kPlain) return param;
    return mi_phen_eval(state, param);
}

// The same, read by value: T is the C type of the parameter.
template <class T>
T evalValue(miState* state, T* param) {
    return *static_cast<T*>(eval(state, reinterpret_cast<char*>(param)));
}

// The integer parameter `tag` of a vx_pc_tag record. The connection is looked for as the record of
// `state` says, not as `function` does: in the state that a probe leaves, the renderer has the
// record of the surface that was hit.
inline int evalInt(miState* state, miFunction* function) {
    constexpr int kTagOffset = 32; // behind the two colours
    char* block = function->parameters;
    return *static_cast<miInteger*>(eval(state, block + kTagOffset));
}

#endif
