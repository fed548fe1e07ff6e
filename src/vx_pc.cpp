// The entry points of the library: what the renderer looks up by name. Each does its shader's
// bookkeeping with the renderer and hands on to the folder that does the work.
#include "shader.h"
#include "src/reader/reader.h"
#include "src/tag/tag.h"

namespace {

constexpr int library_version = 1;

// The call for a shader as a whole, which comes before any instance's: says so in the log and asks
// to be called for each instance as well.
void InitShader(const char* name, miBoolean* instance_init_request) {
    *instance_init_request = miTRUE;
    mi_info("%s - V. %d", name, library_version);
}

} // namespace

extern "C" {

DLLEXPORT int vx_pc_tag_version(void) {
    return library_version;
}

DLLEXPORT void vx_pc_tag_init(miState* /*state*/, TagParameters* params,
                              miBoolean* instance_init_request) {
    if (params == nullptr) InitShader("vx_pc_tag", instance_init_request);
}

DLLEXPORT void vx_pc_tag_exit(miState* /*state*/, TagParameters* /*params*/) {}

DLLEXPORT miBoolean vx_pc_tag(miColor* result, miState* state, TagParameters* params) {
    return TagColor(result, state, params);
}

DLLEXPORT int vx_pc_read_version(void) {
    return library_version;
}

DLLEXPORT void vx_pc_read_init(miState* state, ReadParameters* params,
                               miBoolean* instance_init_request) {
    if (params == nullptr)
        InitShader("vx_pc_read", instance_init_request);
    else
        InitReadInstance(state, params);
}

DLLEXPORT void vx_pc_read_exit(miState* state, ReadParameters* params) {
    if (params != nullptr) ExitReadInstance(state);
}

DLLEXPORT miBoolean vx_pc_read(ReadResult* result, miState* state, ReadParameters* params) {
    return ReadCloud(result, state, params);
}

} // extern "C"
