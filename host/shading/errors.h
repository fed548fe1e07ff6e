/*
 * How a render ends early.
 *
 * An interface function that cannot give an answer (a bad tag, mi_fatal, connections that form a
 * cycle, a cancelled render) must not return to the shader that called it. It throws RenderAborted,
 * which unwinds the frames of the shader (C code too: everything is compiled with unwind tables)
 * up to the renderer, which catches it around each tile, lets the other threads end and reports the
 * render as failed. By then the message has been written and Context::aborted() is true, so
 * threads that wait for a lock wake up and throw as well.
 */
#ifndef VX_HOST_SHADING_ERRORS_H
#define VX_HOST_SHADING_ERRORS_H

#include <stdexcept>

namespace vx::shading {

class RenderAborted : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace vx::shading

#endif
