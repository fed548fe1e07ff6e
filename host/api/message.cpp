// mi_error and related functions: messages from shaders.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "host/shading/context.h"

namespace {

using vx::shading::Context;
using vx::shading::Level;

std::string formatted(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): a copy of the caller's started list
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) return format;
    std::string text(static_cast<std::size_t>(length), '\0');
    (void)std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

// An error of a shader makes the render count as failed, a warning makes it count as incomplete.
void report(Level level, const std::string& text) {
    Context& context = Context::current();
    const auto* const call = context.thread().top;
    if (level == Level::error) context.count_as_failed();
    if (level == Level::warning)
        context.omissions.add(vx::scene::Omission::shader_warning,
                              call == nullptr ? "no shader" : call->function.label());
    context.say(level, text);
}

} // namespace

#define VX_MESSAGE(function, level)                                                                \
    void function(const char* const message, ...) {                                                \
        std::va_list arguments;                                                                    \
        va_start(arguments, message);                                                              \
        const std::string text = formatted(message, arguments);                                    \
        va_end(arguments);                                                                         \
        report(level, text);                                                                       \
    }

VX_MESSAGE(mi_error, Level::error)
VX_MESSAGE(mi_warning, Level::warning)
VX_MESSAGE(mi_info, Level::info)
VX_MESSAGE(mi_progress, Level::progress)
VX_MESSAGE(mi_debug, Level::debug)
VX_MESSAGE(mi_vdebug, Level::vdebug)

void mi_fatal(const char* const message, ...) {
    std::va_list arguments;
    va_start(arguments, message);
    const std::string text = formatted(message, arguments);
    va_end(arguments);
    Context::current().abort_render(text);
}

void mi_set_verbosity(const int bits) {
    Context::current().messages.set_bits(bits);
}
