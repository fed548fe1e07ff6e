// The parts of the C shader interface whose names, places or types the renderer's public manual
// does not give. The rest of the library says what it wants in these words; to build against a
// renderer's own headers, change this folder and nothing else.
#ifndef VX_SRC_PLATFORM_SHADER_ACCESS_H
#define VX_SRC_PLATFORM_SHADER_ACCESS_H

#include "shader.h"

// The record's byte that says whether its parameters may be connected to other shaders; they may
// when it is exactly 1.
inline int ConnectionFlag(const miFunction* function) {
    return function->connected;
}

// The name in a declaration: what mi_db_access gave for a declaration's tag.
inline const char* DeclarationName(const void* declaration) {
    return static_cast<const miFunction_decl*>(declaration)->name;
}

// This thread's pointer for the shader instance that `state` runs; null until it is set. The
// numbers of the two queries are known, their names are not.
inline void* GetThreadPointer(miState* state) {
    void* pointer = nullptr;
    mi_query(static_cast<miQ_type>(124), state, miNULLTAG, &pointer);
    return pointer;
}
inline void SetThreadPointer(miState* state, void* pointer) {
    mi_query(static_cast<miQ_type>(126), state, miNULLTAG, &pointer);
}

// Publishes a copy of `size` bytes under `key` to every shader called beneath `state`, until it is
// replaced. Only the value of that lifetime is known.
inline void PublishToShadersBelow(miState* state, const char* key, void* data, int size) {
    mi_shaderstate_set(state, key, data, size, 1);
}

#endif
