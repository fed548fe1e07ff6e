/*
 * How a render ends early.
 *
 * An interface function that cannot give an answer (a bad tag, mi_fatal, connections that form a
 * cycle, a cancelled render) must not return to the shader that called it. It throws RenderAborted,
 * which unwinds the frames of the shader (C code too: everything is compiled with unwind tables)
 * up to the renderer, which catches it around each tile, lets the other threads end and reports the
 * render as failed. By then the message has been written and Context::aborted() is true, so
 * threads that wait for a lock wake up and throw as well.
 *
 * Shaders throw as well: std::bad_alloc from their allocations, and whatever else their authors let
 * out. Each call of an entry point catches that. An exception from the shader's own function ends
 * the render; after one from an init or a version the shader or the instance is refused; after one
 * from an exit the other exits run. Each is reported, and the render has failed.
 */
#pragma once

#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>

namespace vx::shading {

class RenderAborted : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* What operator new throws in the program and in the shader libraries that it loads
 * (host/api/new.cpp): a std::bad_alloc that knows the size. */
class OutOfMemory : public std::bad_alloc {
  public:
    explicit OutOfMemory(std::size_t bytes) noexcept;
    [[nodiscard]] const char* what() const noexcept override { return m_text; }

  private:
    char m_text[64];
};

/* The exception under way as a text for a message. For catch blocks. */
std::string caught_reason();

} // namespace vx::shading
