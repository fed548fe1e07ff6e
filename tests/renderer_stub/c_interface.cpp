// The C functions themselves: each hands on to the stand-in that is alive.
#include "tests/renderer_stub/renderer_stub.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace {

vx::stub::Renderer& renderer() {
    return vx::stub::Renderer::current();
}

void message(const char* level, const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(static_cast<size_t>(std::max(length, 0)), '\0');
    (void)std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    std::replace(text.begin(), text.end(), '\n', ' ');
    renderer().note(std::string(level) + ": " + text);
}

} // namespace

extern "C" {

void* mi_db_access(const miTag tag) {
    return renderer().db_access(tag);
}
void mi_db_unpin(const miTag tag) {
    renderer().db_unpin(tag);
}
int mi_db_type(const miTag tag) {
    return renderer().db_type(tag);
}
miBoolean mi_query(const miQ_type query, miState* const state, miTag tag, void* const result, ...) {
    return renderer().query(query, state, tag, result);
}
miBoolean mi_api_parameter_lookup(miParam_type* type, miBoolean* is_array, int* offs,
                                  miTag decl_tag, miBoolean out, char* name) {
    return renderer().parameter_lookup(type, is_array, offs, decl_tag, out, name);
}
char* mi_mem_int_strdup(const char* file, int line, const char* text) {
    return renderer().strdup(file, line, text);
}

miBoolean mi_sample(double* sample, int* instance, miState* state, const miUshort dimension,
                    const miUint* n) {
    return renderer().sample(sample, instance, state, dimension, n);
}
void mi_vector_from_camera(miState* /*state*/, miVector* r, miVector* v) {
    renderer().vector_from_camera(r, *v);
}
miBoolean mi_trace_probe(miState* state, miVector* direction, miVector* origin) {
    return renderer().trace_probe(state, *direction, *origin);
}
miBoolean mi_trace_reflection(miColor* result, miState* state, miVector* direction) {
    return renderer().trace_reflection(result, state, *direction);
}
miBoolean mi_trace_eye(miColor* result, miState* state, miVector* origin, miVector* direction) {
    return renderer().trace_eye(result, state, *origin, *direction);
}
void mi_flush_cache(miState* state) {
    renderer().flush_cache(state);
}

void* mi_phen_eval(miState* state, void* param) {
    return renderer().phen_eval(state, param);
}
miBoolean mi_shaderstate_set(miState* state, const char* key, void* data, int size, int lifetime) {
    return renderer().shaderstate_set(state, key, data, size, lifetime);
}
void* mi_shaderstate_get(miState* state, const char* key, int* size) {
    return renderer().shaderstate_get(state, key, size);
}
int mi_string_substitute(char* buffer, const char* text, int capacity) {
    return renderer().string_substitute(buffer, text, capacity);
}

void mi_init_lock(miLock* lock) {
    renderer().init_lock(lock);
}
void mi_delete_lock(miLock* lock) {
    renderer().delete_lock(lock);
}
void mi_lock(miLock lock) {
    renderer().lock(lock);
}
void mi_unlock(miLock lock) {
    renderer().unlock(lock);
}

void mi_info(const char* const text, ...) {
    va_list arguments;
    va_start(arguments, text);
    message("info", text, arguments);
    va_end(arguments);
}
void mi_warning(const char* const text, ...) {
    va_list arguments;
    va_start(arguments, text);
    message("warning", text, arguments);
    va_end(arguments);
}

} // extern "C"
