// The parts of the C shader interface that the renderer's public manual leaves open: names, record
// layouts, argument types. The rest of the library reaches them through these functions, so that
// building against a renderer's own headers changes this folder only.
#pragma once

#include "src/platform/renderer.h"

// ---- shader instances ----

// The address of the pointer that the renderer keeps for the shader instance that `state` runs;
// null when the renderer gives none.
inline void** UserPointer(miState* state) {
    void** address = nullptr;
    mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &address);
    return address;
}

// The record that the instance stored there, or null.
template <class Record>
Record* InstanceRecord(miState* state) {
    void** const address = UserPointer(state);
    return address == nullptr ? nullptr : static_cast<Record*>(*address);
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

// ---- declarations ----

// The tag of the declaration of a shader function.
inline miTag DeclarationOf(miTag function) {
    miTag declaration = miNULLTAG;
    mi_query(static_cast<miQ_type>(54), nullptr, function, &declaration);
    return declaration;
}

// The name in a declaration: `declaration` is what mi_db_access returned for its tag.
inline const char* DeclarationName(const void* declaration) {
    return static_cast<const miFunction_decl*>(declaration)->name;
}

// A copy of `name` for a function of the renderer that releases it, as mi_api_parameter_lookup
// does.
inline char* NameForRenderer(const char* name) {
    return mi_mem_strdup(name);
}

// ---- parameters ----

// The record's byte that says whether its parameters may be connected to other shaders; they may
// when it is exactly 1.
inline int ConnectionFlag(const miFunction* function) {
    return function->connected;
}

// The tag of the shader that computes the parameter at `parameter`, an address in the parameter
// block of `function`; null when the parameter has a plain value. The tag lies ghost_offs bytes
// behind the parameter.
inline miTag ConnectedShader(const miFunction* function, const char* parameter) {
    constexpr auto kPlain = static_cast<miTag>(-2);
    miTag connection;
    std::memcpy(&connection, parameter + function->ghost_offs, sizeof connection);
    return connection == kPlain ? miNULLTAG : connection;
}

// The address of the value that the shader connected to `parameter` computes, valid until the next
// evaluation. There must be a connection.
inline void* EvaluateConnection(miState* state, void* parameter) {
    return mi_phen_eval(state, parameter);
}

// Copies `text` to `buffer` with the renderer's variables substituted, cut to `capacity` bytes.
// What the function returns is not known, and not used.
inline void SubstituteVariables(char* buffer, const char* text, int capacity) {
    mi_string_substitute(buffer, text, capacity);
}

// ---- shader state ----

// Publishes a copy of `size` bytes under `key` to every shader called beneath `state`, until it is
// replaced. Only the value of that lifetime is known.
inline void PublishToShadersBelow(miState* state, const char* key, void* data, int size) {
    mi_shaderstate_set(state, key, data, size, 1);
}

// ---- locks ----

inline void InitLock(miLock* lock) {
    mi_init_lock(lock);
}
inline void DeleteLock(miLock* lock) {
    mi_delete_lock(lock);
}
inline void Lock(const miLock& lock) {
    mi_lock(lock);
}
inline void Unlock(const miLock& lock) {
    mi_unlock(lock);
}
