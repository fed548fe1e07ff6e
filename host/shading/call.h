// Calls of shaders, and evaluation of parameters.
//
// All functions may throw RenderAborted (see errors.h). state->shader is the running shader's
// record during a call and is restored afterwards.
#pragma once

#include "host/shading/context.h"

namespace vx::shading {

// Limits of nested evaluations of connected parameters, and of nested shader calls of any kind, on
// one thread.
inline constexpr int kMaxEvaluationDepth = 200;
inline constexpr int kMaxCallDepth = 500;

// Calls one shader, without the rest of its list (lens shaders call their successor by
// mi_trace_eye). If `argument` is null, the shader gets its own parameter block. Returns the
// shader's result; false for the null tag and for a refused shader. A tag of anything but a shader
// aborts the render.
bool call_one(Context& context, miTag tag, void* result, miState* state, miShader_type role,
              void* argument = nullptr);
// Calls the shaders of a list in order on the same result; true if any of them returned true.
bool call_list(Context& context, miTag first, void* result, miState* state, miShader_type role,
               void* argument = nullptr);

// The address of a parameter's effective value, as mi_eval returns it.
void* evaluate(Context& context, miState* state, void* parameter);
// Runs the shader that is connected to the parameter, as mi_phen_eval does; returns `parameter`
// itself if none is. The result is valid until the same parameter is evaluated again in the same
// shader call, or until that call returns.
void* evaluate_connection(Context& context, miState* state, void* parameter);

} // namespace vx::shading
