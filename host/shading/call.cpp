#include "host/shading/call.h"

#include <algorithm>
#include <cstring>

namespace vx::shading {

namespace {

// "a" -> "b" -> "a": the running shaders from the innermost call of `next` to the shader that calls
// it again. Empty if `next` is not running.
std::string cycle_text(const ThreadContext& thread, const Function& next) {
    std::vector<const Function*> chain = {&next};
    for (const CallFrame* frame = thread.top; frame != nullptr; frame = frame->previous) {
        chain.push_back(&frame->function);
        if (&frame->function == &next) {
            std::string text;
            for (auto link = chain.rbegin(); link != chain.rend(); ++link)
                text += (text.empty() ? "\"" : " -> \"") + (*link)->name + '"';
            return text;
        }
    }
    return {};
}

void check_depth(Context& context, const Function& next) {
    const ThreadContext& thread = context.thread();
    if (thread.top == nullptr) return;
    const bool evaluations = thread.top->evaluations >= kMaxEvaluationDepth;
    if (!evaluations && thread.top->depth < kMaxCallDepth) return;
    const std::string cycle = cycle_text(thread, next);
    std::string text =
        evaluations
            ? "connected parameters are nested " + std::to_string(kMaxEvaluationDepth) + " deep"
            : "shader calls are nested " + std::to_string(kMaxCallDepth) + " deep";
    if (!cycle.empty()) text += "; they form a cycle: " + cycle;
    context.abort_render(text);
}

// Requires a CallFrame of this call.
bool run(Context& context, const Function& function, void* result, miState* state,
         void* parameters) {
    const std::uint64_t locks_before = context.thread().locks.mark();
    try {
        return function.declaration->code.main(result, state, parameters) != miFALSE;
    } catch (...) {
        context.abort_call(locks_before);
    }
}

// Whether false is a failure. From lights and shadow shaders it means that no light arrives.
bool false_is_failure(miShader_type role) {
    return role != miSHADER_LIGHT && role != miSHADER_SHADOW;
}

// Counts a call that returned `lit`. A false result counts where it arises: not for a shader that
// got false from a ray, a lookup or another shader before, since most such shaders pass it on.
bool counted(Context& context, const CallFrame& frame, bool lit) {
    if (!false_is_failure(frame.role)) return lit;
    const Function& function = frame.function;
    if (!function.declaration->built_in)
        context.thread().count_call(function.index, !lit && !frame.false_below);
    if (!lit && frame.previous != nullptr) frame.previous->false_below = true;
    return lit;
}

bool call_function(Context& context, Function& function, void* result, miState* state,
                   miShader_type role, void* argument) {
    context.check_aborted();
    check_depth(context, function);
    if (!context.ready(function, state)) {
        context.thread().note_false_below();
        return false;
    }
    if (argument == nullptr) {
        const CallFrame frame(context, function, state, role, function.record);
        return counted(context, frame,
                       run(context, function, result, state, function.record->parameters));
    }
    // The caller's block has no ghost block, so the record must not refer to one.
    miFunction record = *function.record;
    record.ghost_offs = 0;
    record.connected = 0;
    const CallFrame frame(context, function, state, role, &record);
    return counted(context, frame, run(context, function, result, state, argument));
}

Function* function_or_abort(Context& context, miTag tag) {
    if (tag == miNULLTAG) return nullptr;
    Function* const function = context.functions.find(tag);
    if (function == nullptr)
        context.abort_render("call of tag " + std::to_string(tag) +
                             ", which is not that of a shader");
    return function;
}

void* result_memory(ThreadContext& thread, const void* param, int bytes) {
    const auto size = static_cast<std::size_t>(bytes);
    return thread.top == nullptr ? thread.outer_result_memory(param, size)
                                 : thread.top->result_memory(param, size);
}

bool holds(const miFunction* record, const void* parameter) {
    const auto* const address = static_cast<const char*>(parameter);
    return address >= record->parameters && address - record->parameters < record->parameter_size;
}

} // namespace

bool call_one(Context& context, miTag tag, void* result, miState* state, miShader_type role,
              void* argument) {
    Function* const function = function_or_abort(context, tag);
    return function != nullptr && call_function(context, *function, result, state, role, argument);
}

bool call_list(Context& context, miTag first, void* result, miState* state, miShader_type role,
               void* argument) {
    bool any = false;
    for (miTag tag = first; tag != miNULLTAG;) {
        Function* const function = function_or_abort(context, tag);
        any = call_function(context, *function, result, state, role, argument) || any;
        tag = function->record->next_function;
    }
    return any;
}

void* evaluate(Context& context, miState* state, void* parameter) {
    const miFunction* const record = state->shader;
    if (record == nullptr || record->connected != 1 || record->ghost_offs == 0) return parameter;
    return evaluate_connection(context, state, parameter);
}

void* evaluate_connection(Context& context, miState* state, void* parameter) {
    const miFunction* const running = state->shader;
    const Function* const owner = running != nullptr && function_of(running) != nullptr &&
                                          holds(function_of(running)->record, parameter)
                                      ? function_of(running)
                                      : context.functions.owner(parameter);
    if (owner == nullptr) return parameter;

    const char* const address = static_cast<const char*>(parameter);
    miTag source = miNULLTAG;
    std::memcpy(&source, address + owner->record->ghost_offs, sizeof source);
    if (source == miNULLTAG || source == miGHOST_PLAIN) return parameter;

    Function* const function = context.functions.find(source);
    if (function == nullptr)
        context.abort_render("a parameter of \"" + owner->name + "\" is connected to tag " +
                             std::to_string(source) + ", which is not that of a shader");

    const auto offset = static_cast<int>(address - owner->record->parameters);
    const auto connection = std::lower_bound(
        owner->connections.begin(), owner->connections.end(), offset,
        [](const Connection& candidate, int wanted) { return candidate.offset < wanted; });
    const bool known = connection != owner->connections.end() && connection->offset == offset &&
                       connection->source == source;
    // The shader may have been redefined with a smaller result since the connection was made.
    const int bytes =
        known ? std::max(function->declaration->result_size,
                         connection->source_offset +
                             std::max(connection->size, basic_size(connection->source_type)))
              : function->declaration->result_size;

    ThreadContext& thread = context.thread();
    void* const result = result_memory(thread, parameter, bytes);
    call_function(context, *function, result, state, miSHADER_TEXTURE, nullptr);
    if (!known) return result;
    void* const value = static_cast<std::byte*>(result) + connection->source_offset;
    if (connection->source_type == connection->target_type) return value;
    void* const converted = result_memory(thread, result, connection->size);
    convert(connection->source_type, value, connection->target_type, converted);
    return converted;
}

} // namespace vx::shading
