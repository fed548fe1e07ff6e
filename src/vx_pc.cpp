// The entry points of the library, which the renderer looks up by name.
#include "src/platform/renderer.h"
#include "src/reader/reader.h"
#include "src/tag/tag.h"
#include "src/writer/lens.h"

namespace {

constexpr int kVersion = 1;

// Shader-level init, called once before any instance: reports the version and requests a call for
// each instance.
void InitShader(const char* name, miBoolean* instanceInitRequest) {
    *instanceInitRequest = miTRUE;
    mi_info("%s - V. %d", name, kVersion);
}

} // namespace

extern "C" {

DLLEXPORT int vx_pc_tag_version(void) {
    return kVersion;
}

DLLEXPORT void vx_pc_tag_init(miState* /*state*/, TagParameters* params,
                              miBoolean* instanceInitRequest) {
    if (params == nullptr) InitShader("vx_pc_tag", instanceInitRequest);
}

DLLEXPORT void vx_pc_tag_exit(miState* /*state*/, TagParameters* /*params*/) {}

DLLEXPORT miBoolean vx_pc_tag(miColor* result, miState* state, TagParameters* params) {
    return TagColor(result, state, params);
}

DLLEXPORT int vx_pc_read_version(void) {
    return kVersion;
}

DLLEXPORT void vx_pc_read_init(miState* state, ReadParameters* params,
                               miBoolean* instanceInitRequest) {
    if (params == nullptr)
        InitShader("vx_pc_read", instanceInitRequest);
    else
        InitReadInstance(state, params);
}

DLLEXPORT void vx_pc_read_exit(miState* state, ReadParameters* params) {
    if (params != nullptr) ExitReadInstance(state);
}

DLLEXPORT miBoolean vx_pc_read(ReadResult* result, miState* state, ReadParameters* params) {
    return ReadCloud(result, state, params);
}

DLLEXPORT int vx_pc_write_version(void) {
    return kVersion;
}

DLLEXPORT void vx_pc_write_init(miState* state, WriteParameters* params,
                                miBoolean* instanceInitRequest) {
    if (params == nullptr)
        InitShader("vx_pc_write", instanceInitRequest);
    else
        InitWriteInstance(state, params);
}

DLLEXPORT void vx_pc_write_exit(miState* state, WriteParameters* params) {
    if (params != nullptr) ExitWriteInstance(state);
}

// Works on the copies of the parameters in the instance's record.
DLLEXPORT miBoolean vx_pc_write(miColor* result, miState* state, WriteParameters* /*params*/) {
    return WriteLens(result, state);
}

} // extern "C"
