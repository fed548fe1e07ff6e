#include "cache/reader/small_renderer.h"

#include "shader.h"

#include <cstdarg>
#include <cstdio>

namespace {

void say(const char* level, const char* format, va_list arguments) {
    char text[2048];
    (void)std::vsnprintf(text, sizeof text, format, arguments);
    if (vx::small_renderer::messages) {
        vx::small_renderer::messages(level, text);
    } else {
        (void)std::fprintf(stderr, "%s: %s\n", level, text);
    }
}

} // namespace

extern "C" {

void* mi_db_access(const miTag tag) {
    return vx::small_renderer::strings[tag].data();
}
void mi_db_unpin(const miTag /*tag*/) {}
miBoolean mi_query(const miQ_type /*query*/, miState* const /*state*/, miTag /*tag*/,
                   void* const result, ...) {
    *static_cast<void***>(result) = &vx::small_renderer::user_pointer;
    return miTRUE;
}
int mi_string_substitute(char* buffer, const char* text, int capacity) {
    return std::snprintf(buffer, static_cast<size_t>(capacity), "%s", text);
}
// Nothing is connected.
void* mi_phen_eval(miState* /*state*/, void* param) {
    return param;
}
void mi_info(const char* const text, ...) {
    va_list arguments;
    va_start(arguments, text);
    say("info", text, arguments);
    va_end(arguments);
}
void mi_warning(const char* const text, ...) {
    va_list arguments;
    va_start(arguments, text);
    say("warning", text, arguments);
    va_end(arguments);
}

} // extern "C"
