// mi_query: properties of declarations, shaders, user data and the renderer.
#include <cstring>

#include "host/shading/context.h"

namespace {

using vx::shading::Context;
using vx::shading::DeclaredShader;
using vx::shading::Function;
using vx::shading::function_of;

template <class T>
miBoolean give(void* result, T value) {
    std::memcpy(result, &value, sizeof value);
    return miTRUE;
}

Function* asked_function(const Context& context, const miState* state, miTag tag) {
    if (tag != miNULLTAG) return context.functions.find(tag);
    return state == nullptr || state->shader == nullptr ? nullptr : function_of(state->shader);
}

DeclaredShader* asked_declaration(const Context& context, const miState* state, miTag tag) {
    if (DeclaredShader* const declaration = context.functions.declaration(tag)) return declaration;
    const Function* const function = asked_function(context, state, tag);
    return function == nullptr ? nullptr : function->declaration;
}

miBoolean query_declaration(const Context& context, const DeclaredShader& declaration,
                            miQ_type query, void* result) {
    auto* const record =
        context.database.find<miFunction_decl>(declaration.tag, miSCENE_FUNCTION_DECL);
    switch (query) {
    case miQ_DECL_LOCK:
        return give(result, &record->lock);
    case miQ_DECL_NAME:
        return give(result, static_cast<char*>(record->name));
    case miQ_DECL_PARAM:
        return give(result, reinterpret_cast<char*>(record) + record->parameter_offs);
    case miQ_DECL_RESULT_SIZE:
        return give(result, record->result_size);
    case miQ_DECL_TYPE:
        return give(result, static_cast<int>(record->result_type));
    case miQ_DECL_VERSION:
        return give(result, record->version);
    default:
        return miFALSE;
    }
}

// The role in which the running shader was called. Only the running shader has one.
miBoolean query_call_type(Context& context, const miState* state, miTag tag, void* result) {
    const vx::shading::CallFrame* const frame = context.thread().top;
    if (tag != miNULLTAG || frame == nullptr || frame->state != state) return miFALSE;
    return give(result, static_cast<int>(frame->role));
}

miBoolean query_function(Context& context, Function& function, miQ_type query, void* result) {
    miFunction& record = *function.record;
    switch (query) {
    case miQ_FUNC_USERPTR:
        return give(result, &function.user_pointer);
    case miQ_FUNC_DECL:
        return give(result, record.function_decl);
    case miQ_FUNC_INDIRECT:
        return give(result, record.parameter_indirect);
    case miQ_FUNC_LOCK:
        return give(result, &function.lock);
    case miQ_FUNC_NEXT:
        return give(result, record.next_function);
    case miQ_FUNC_PARAM:
        return give(result, static_cast<void*>(record.parameters));
    case miQ_FUNC_PARAM_SIZE:
        return give(result, record.parameter_size);
    case miQ_FUNC_TLS_GET:
        return give(result, context.thread().instance_pointer(function.index));
    case miQ_FUNC_TLS_SET: {
        void* pointer = nullptr;
        std::memcpy(&pointer, result, sizeof pointer);
        context.thread().set_instance_pointer(function.index, pointer);
        return miTRUE;
    }
    default:
        return miFALSE;
    }
}

miBoolean query_data(const Context& context, miTag tag, miQ_type query, void* result) {
    const auto found = context.user_data.find(tag);
    if (found == context.user_data.end()) return miFALSE;
    const vx::shading::UserDataElement& data = found->second;
    switch (query) {
    case miQ_DATA_DECL:
        return data.declaration == miNULLTAG ? miFALSE : give(result, data.declaration);
    case miQ_DATA_LABEL:
        return give(result, data.label);
    case miQ_DATA_NEEDSWAP:
        return give(result, miBoolean{miFALSE});
    case miQ_DATA_NEXT:
        return give(result, data.next);
    case miQ_DATA_PARAM:
        return give(result, context.database.find(tag));
    case miQ_DATA_PARAM_SIZE:
        return give(result, data.size);
    default:
        return miFALSE;
    }
}

} // namespace

miBoolean mi_query(const miQ_type query, miState* const state, miTag tag, void* const result, ...) {
    if (result == nullptr) return miFALSE;
    Context& context = Context::current();
    static char date[] = VX_BUILD_DATE;

    switch (query) {
    case miQ_DECL_LOCK:
    case miQ_DECL_NAME:
    case miQ_DECL_PARAM:
    case miQ_DECL_RESULT_SIZE:
    case miQ_DECL_TYPE:
    case miQ_DECL_VERSION: {
        const DeclaredShader* const declaration = asked_declaration(context, state, tag);
        return declaration == nullptr ? miFALSE
                                      : query_declaration(context, *declaration, query, result);
    }
    case miQ_FUNC_CALLTYPE:
        return query_call_type(context, state, tag, result);
    case miQ_FUNC_USERPTR:
    case miQ_FUNC_DECL:
    case miQ_FUNC_INDIRECT:
    case miQ_FUNC_LOCK:
    case miQ_FUNC_NEXT:
    case miQ_FUNC_PARAM:
    case miQ_FUNC_PARAM_SIZE:
    case miQ_FUNC_TLS_GET:
    case miQ_FUNC_TLS_SET: {
        Function* const function = asked_function(context, state, tag);
        return function == nullptr ? miFALSE : query_function(context, *function, query, result);
    }
    case miQ_DATA_DECL:
    case miQ_DATA_LABEL:
    case miQ_DATA_NEEDSWAP:
    case miQ_DATA_NEXT:
    case miQ_DATA_PARAM:
    case miQ_DATA_PARAM_SIZE:
        return query_data(context, tag, query, result);
    case miQ_DATE:
        return give(result, static_cast<char*>(date));
    case miQ_FINALGATHER_STATE:
        return give(result, 0);
    case miQ_SAMPLE_MOVING:
        return give(result, miBoolean{miFALSE});
    case miQ_NUM_GLOBAL_LIGHTS:
        return give(result, static_cast<int>(context.lights.size()));
    case miQ_GLOBAL_LIGHTS:
        return give(result, context.lights.data());
    case miQ_NONE:
        break;
    }
    return miFALSE;
}
