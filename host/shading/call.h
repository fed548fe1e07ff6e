/*
 * Running shaders, and evaluating parameters.
 *
 * All of these may throw RenderAborted (see errors.h). state->shader names the running shader while
 * it runs and is restored afterwards.
 */
#pragma once

#include "host/shading/context.h"

namespace vx::shading {

/* Nested evaluations of connected parameters, and nested shader calls of any kind, on one thread.
 */
inline constexpr int kMaxEvaluationDepth = 200;
inline constexpr int kMaxCallDepth = 500;

/* One shader, without the rest of a list (lens shaders call their successor by mi_trace_eye).
 * `argument` null: its own parameter block. False for the null tag, for a refused shader, and when
 * the shader says so. A tag that is no function aborts the render. */
bool call_one(Context& context, miTag tag, void* result, miState* state, miShader_type role,
              void* argument = nullptr);
/* A list in order on the same result; true when any shader returned true. */
bool call_list(Context& context, miTag first, void* result, miState* state, miShader_type role,
               void* argument = nullptr);

/* The address of a parameter's effective value, as mi_eval gives it. */
void* evaluate(Context& context, miState* state, void* parameter);
/* Runs what is connected to the parameter, as mi_phen_eval does; `parameter` itself when nothing
 * is. The result is good until the same parameter is evaluated again in the same shader call, or
 * that call returns. */
void* evaluate_connection(Context& context, miState* state, void* parameter);

} // namespace vx::shading
