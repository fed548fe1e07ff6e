// Shaders that keep the child state of a trace call for the tests.
#include "tests/scenes/test_shaders.h"

#include <cstring>

extern "C" {

// Read by the tests.
DLLEXPORT miState test_child;           // after the call
DLLEXPORT miState test_child_before;    // before it, if there was one
DLLEXPORT int test_child_was_null = -1; // before the call
DLLEXPORT int test_child_is_null = -1;  // after it
DLLEXPORT int test_null_children = -1;  // of t_mirrors
DLLEXPORT int test_missed_children = -1;

struct Child {
    miInteger call; // a TestCall
    miVector direction;
    miBoolean before; // makes the same call along the state's direction first
};

static miBoolean trace(miColor* result, miState* state, int call, miVector direction) {
    switch (call) {
    case test_eye:
        return mi_trace_eye(result, state, &state->org, &direction);
    case test_reflection:
        return mi_trace_reflection(result, state, &direction);
    case test_refraction:
        return mi_trace_refraction(result, state, &direction);
    case test_transparent:
        return mi_trace_transparent(result, state);
    case test_environment:
        return mi_trace_environment(result, state, &direction);
    default:
        return mi_trace_probe(state, &direction, &state->point);
    }
}

// Makes one trace call and keeps the child.
DLLEXPORT int t_child_version(void) {
    return 1;
}
DLLEXPORT void t_child_init(miState*, Child*, miBoolean*) {
    test_child_was_null = test_child_is_null = -1;
    test_child = test_child_before = miState{};
}
DLLEXPORT miBoolean t_child(miColor* result, miState* state, Child* p) {
    *result = {0, 0, 0, 1};
    miColor color;
    const miVector forward = state->dir;
    if (p->before) trace(&color, state, p->call, forward);
    test_child_was_null = state->child == nullptr;
    if (state->child != nullptr) test_child_before = *state->child;
    trace(&color, state, p->call, p->direction);
    test_child_is_null = state->child == nullptr;
    if (state->child != nullptr) test_child = *state->child;
    return miTRUE;
}

// Probes forward, gives the child an uninitialized state as its own child, and calls the material
// that was hit.
DLLEXPORT int t_call_child_version(void) {
    return 1;
}
DLLEXPORT miBoolean t_call_child(miColor* result, miState* state, void*) {
    const miVector eye = state->org;
    state->point = eye;
    *result = {0, 0, 0, 0};
    if (!mi_trace_probe(state, &state->dir, &state->point)) return miFALSE;
    alignas(miState) unsigned char memory[sizeof(miState)];
    std::memset(memory, 0xa5, sizeof memory);
    state->child->child = reinterpret_cast<miState*>(memory);
    return mi_call_material(result, state->child);
}

// A mirror that counts the children of its rays that are null, and those of rays that missed.
DLLEXPORT int t_mirrors_version(void) {
    return 1;
}
DLLEXPORT void t_mirrors_init(miState*, void*, miBoolean*) {
    test_null_children = test_missed_children = 0;
}
DLLEXPORT miBoolean t_mirrors(miColor* result, miState* state, void*) {
    miVector dir;
    mi_reflection_dir(&dir, state);
    mi_trace_reflection(result, state, &dir);
    if (state->child == nullptr) {
        ++test_null_children;
    } else if (state->child->dist == 0.0) {
        ++test_missed_children;
        test_child = *state->child;
        // A ray of such a child is not traced either.
        mi_trace_reflection(result, state->child, &dir);
        if (state->child == nullptr || state->child->child == nullptr) ++test_null_children;
    }
    return miTRUE;
}

} // extern "C"
