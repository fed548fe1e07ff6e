// fopen and fclose. Shader libraries resolve them to these definitions, like the mi_* functions, so
// that a file that a shader cannot write makes the render fail, even if the shader ignores it.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <system_error>

#include "host/shading/context.h"

namespace {

using vx::shading::Context;
using vx::shading::Level;

// Reports a file that the running shader cannot write. Does nothing outside of shaders. Keeps
// errno.
void report(const std::string& path, int error) noexcept {
    const int errno_before = errno;
    try {
        Context& context = Context::current();
        const auto& thread = context.thread();
        if (thread.top != nullptr) {
            context.count_as_failed();
            const std::string reason =
                error == 0 ? "not all of it was written" : std::generic_category().message(error);
            context.say(Level::error,
                        thread.with_shader("cannot write \"" + path + "\": " + reason));
        }
    } catch (const std::exception&) {
        // There is no context, so no shader runs, or no memory for a message.
    }
    errno = errno_before;
}

bool is_writable(std::FILE* file) {
    const int number = fileno(file);
    const int flags = number < 0 ? -1 : fcntl(number, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

// The name of an open file, as the system knows it.
std::string name_of(std::FILE* file) {
    char name[4096];
    const std::string link = "/proc/self/fd/" + std::to_string(fileno(file));
    const ssize_t length = readlink(link.c_str(), name, sizeof name);
    return length > 0 ? std::string(name, static_cast<std::size_t>(length)) : std::string("a file");
}

std::FILE* open(const char* function, const char* path, const char* mode) {
    using Open = std::FILE* (*)(const char*, const char*);
    const auto standard_open = reinterpret_cast<Open>(dlsym(RTLD_NEXT, function));
    std::FILE* const file = standard_open(path, mode);
    if (file == nullptr && (*mode == 'w' || *mode == 'a')) report(path, errno);
    return file;
}

} // namespace

extern "C" {

std::FILE* fopen(const char* path, const char* mode) {
    return open("fopen", path, mode);
}

// The name of fopen in shaders that are compiled for large files.
std::FILE* fopen64(const char* path, const char* mode) {
    return open("fopen64", path, mode);
}

int fclose(std::FILE* file) {
    using Close = int (*)(std::FILE*);
    static const auto kStandardClose = reinterpret_cast<Close>(dlsym(RTLD_NEXT, "fclose"));
    if (!is_writable(file)) return kStandardClose(file);
    // Errors of buffered data appear only when it is written.
    const int error = fflush(file) == 0 ? 0 : errno;
    const bool failed = error != 0 || ferror(file) != 0;
    const std::string name = failed ? name_of(file) : std::string();
    const int result = kStandardClose(file);
    if (failed) report(name, error);
    return result;
}

} // extern "C"
