/* operator new: shader libraries find it in the program, as they find the mi_* functions. */
#include <dlfcn.h>

#include <new>

#include "host/shading/errors.h"

/* The standard library's operator new, whose failure says how much memory was asked for. The array
 * form of the standard library calls this one; operator delete needs no replacement. */
void* operator new(std::size_t bytes) {
    using New = void* (*)(std::size_t);
    static const auto kNext = reinterpret_cast<New>(dlsym(RTLD_NEXT, "_Znwm"));
    try {
        return kNext(bytes);
    } catch (const std::bad_alloc&) {
        throw vx::shading::OutOfMemory(bytes);
    }
}
