// Exceptions that end a render early.
//
// An interface function that has no result (bad tag, mi_fatal, connections that form a cycle,
// canceled render) must not return to the shader that called it. It throws RenderAborted, which
// unwinds the stack frames of the shader (of C code, too: everything is compiled with unwind
// tables). The renderer catches it around each tile, lets the other threads end and reports the
// render as failed. By then the message has been written and Context::aborted() is true, so threads
// that wait for a lock give up and throw as well.
//
// Shaders may throw, too, most often std::bad_alloc. Each call of an entry point catches every
// exception. One from the shader's function ends the render; one from an init or a version refuses
// the shader or the instance; after one from an exit the other exits run. Each is reported, and the
// render counts as failed.
#pragma once

#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>

namespace vx::shading {

class RenderAborted : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Thrown by operator new of the program and of the shader libraries that it loads
// (host/api/new.cpp). Its text contains the size.
class OutOfMemory : public std::bad_alloc {
  public:
    explicit OutOfMemory(std::size_t bytes) noexcept;
    [[nodiscard]] const char* what() const noexcept override { return m_text; }

  private:
    char m_text[64];
};

// The current exception as text for a message. Call it in handlers only.
std::string caught_reason();

} // namespace vx::shading
