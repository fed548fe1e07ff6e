// mi_shaderstate_*: data attached to states.
#include "host/shading/context.h"

miBoolean mi_shaderstate_set(miState* state, const char* key, void* data, int size, int lifetime) {
    if (state == nullptr || key == nullptr) return miFALSE;
    return vx::shading::Context::current().thread().set_state_data(state, key, data, size, lifetime)
               ? miTRUE
               : miFALSE;
}

void* mi_shaderstate_get(miState* state, const char* key, int* size) {
    if (size != nullptr) *size = 0;
    if (key == nullptr) return nullptr;
    return vx::shading::Context::current().thread().state_data(state, key, size);
}
