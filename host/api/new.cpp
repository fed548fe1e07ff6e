// operator new. Shader libraries resolve it to this definition, like the mi_* functions.
#include <dlfcn.h>

#include <new>

#include "host/shading/errors.h"

// Calls the operator new of the standard library and adds the requested size to the exception. The
// standard array form calls this function; operator delete needs no replacement.
// NOLINTNEXTLINE(misc-new-delete-overloads): the standard operator delete matches
void* operator new(std::size_t bytes) {
    using New = void* (*)(std::size_t);
    static const auto kStandardNew = reinterpret_cast<New>(dlsym(RTLD_NEXT, "_Znwm"));
    try {
        return kStandardNew(bytes);
    } catch (const std::bad_alloc&) {
        throw vx::shading::OutOfMemory(bytes);
    }
}
