// A shader library like any other: it knows the renderer through shader.h only.
#include "tests/shading/test_shaders.h"

#include <atomic>

extern "C" {

DLLEXPORT int test_run_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_run(void* result, miState* state, void* parameters) {
    return (*static_cast<ShaderBody*>(state->user))(result, state, parameters);
}

struct ConstantParameters {
    miColor value;
};
DLLEXPORT int test_constant_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_constant(miColor* result, miState* state, ConstantParameters* paras) {
    *result = *mi_eval_color(&paras->value);
    return miTRUE;
}

DLLEXPORT int test_black_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_black(miColor*, miState*, void*) {
    return miFALSE;
}

// Adds to the result of the previous shader.
DLLEXPORT int test_add_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_add(miColor* result, miState* state, ConstantParameters* paras) {
    const miColor c = *mi_eval_color(&paras->value);
    *result = {result->r + c.r, result->g + c.g, result->b + c.b, result->a * 10 + c.a};
    return miTRUE;
}

DLLEXPORT int test_struct_version(void) {
    return 2;
}
DLLEXPORT miBoolean test_struct(TestStruct* result, miState*, void*) {
    *result = {{0.25f, 0.5f, 0.75f, 1}, 7.5f, {1, 2, 3}, -42, miTRUE};
    return miTRUE;
}

DLLEXPORT int test_transform_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_transform(miScalar* result, miState*, void*) {
    for (int i = 0; i < 16; ++i)
        result[i] = static_cast<miScalar>(i);
    return miTRUE;
}

// Returns the shader that is its parameter.
struct TagParameters {
    miTag value;
};
DLLEXPORT int test_tag_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_tag(miTag* result, miState* state, TagParameters* paras) {
    *result = *mi_eval_tag(&paras->value);
    return miTRUE;
}

DLLEXPORT int test_types_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_types(miColor*, miState* state, TestTypes* paras) {
    auto& seen = *static_cast<TestTypes*>(state->user);
    seen.boolean = *mi_eval_boolean(&paras->boolean);
    seen.integer = *mi_eval_integer(&paras->integer);
    seen.scalar = *mi_eval_scalar(&paras->scalar);
    seen.string = *mi_eval_tag(&paras->string);
    seen.color = *mi_eval_color(&paras->color);
    seen.vector = *mi_eval_vector(&paras->vector);
    const miScalar* const matrix = mi_eval_transform(&paras->transform);
    for (int i = 0; i < 16; ++i)
        seen.transform[i] = matrix[i];
    seen.shader = *mi_eval_tag(&paras->shader);
    seen.texture = *mi_eval_tag(&paras->texture);
    seen.light = *mi_eval_tag(&paras->light);
    seen.material = *mi_eval_tag(&paras->material);
    return miTRUE;
}

// Sum of the elements of an array, the customary way of reading one.
struct ArrayParameters {
    miScalar before;
    int i_values;
    int n_values;
    miColor values[1];
    miScalar after;
};
DLLEXPORT int test_array_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_array(miColor* result, miState* state, ArrayParameters* paras) {
    *result = {0, 0, 0, 0};
    const int n = *mi_eval_integer(&paras->n_values);
    const int first = *mi_eval_integer(&paras->i_values);
    for (int i = 0; i < n; ++i) {
        const miColor c = *mi_eval_color(paras->values + first + i);
        result->r += c.r;
        result->g += c.g;
        result->b += c.b;
    }
    result->a = *mi_eval_scalar(&paras->before) + *mi_eval_scalar(&paras->after);
    return miTRUE;
}

struct PairParameters {
    miColor first;
    miColor second;
};
// Reads both values after both evaluations.
DLLEXPORT int test_pair_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_pair(miColor* result, miState* state, PairParameters* paras) {
    const miColor* const a = mi_eval_color(&paras->first);
    const miColor* const b = mi_eval_color(&paras->second);
    *result = {a->r + 10 * b->r, a->g + 10 * b->g, a->b + 10 * b->b, 1};
    return miTRUE;
}

DLLEXPORT int test_queries_version(void) {
    return 5;
}
DLLEXPORT miBoolean test_queries(miColor*, miState* state, void*) {
    auto& q = *static_cast<TestQueries*>(state->user);
    const auto ask = [&](miQ_type code, void* answer) {
        if (mi_query(code, state, miNULLTAG, answer)) ++q.answered;
    };
    ask(miQ_DECL_LOCK, &q.declaration_lock);
    ask(miQ_DECL_NAME, &q.declaration_name);
    ask(miQ_DECL_PARAM, &q.declaration_parameters);
    ask(miQ_DECL_RESULT_SIZE, &q.declaration_result_size);
    ask(miQ_DECL_TYPE, &q.declaration_type);
    ask(miQ_DECL_VERSION, &q.declaration_version);
    ask(miQ_FUNC_USERPTR, &q.user_pointer);
    ask(miQ_FUNC_DECL, &q.declaration);
    ask(miQ_FUNC_CALLTYPE, &q.call_type);
    ask(miQ_FUNC_INDIRECT, &q.indirect);
    ask(miQ_FUNC_LOCK, &q.lock);
    ask(miQ_FUNC_NEXT, &q.next);
    ask(miQ_FUNC_PARAM, &q.parameters);
    ask(miQ_FUNC_PARAM_SIZE, &q.parameter_size);
    ask(miQ_DATE, &q.date);
    ask(miQ_FINALGATHER_STATE, &q.final_gather);
    ask(miQ_SAMPLE_MOVING, &q.moving);
    ask(miQ_NUM_GLOBAL_LIGHTS, &q.light_count);
    ask(miQ_GLOBAL_LIGHTS, &q.lights);
    int nothing = 0;
    q.unknown = mi_query(static_cast<miQ_type>(101), state, miNULLTAG, &nothing);
    return miTRUE;
}

// Logs its life, keeps a record at its user pointer, counts its calls per thread.
struct LifeParameters {
    miTag label;
    miScalar value;
};
static const char* label_of(miState* state, LifeParameters* paras) {
    const miTag tag = *mi_eval_tag(&paras->label);
    const char* const text = static_cast<const char*>(mi_db_access(tag));
    mi_db_unpin(tag);
    return text;
}
DLLEXPORT int test_life_version(void) {
    mi_info("life version");
    return 1;
}
DLLEXPORT void test_life_init(miState* state, LifeParameters* paras, miBoolean* request) {
    if (paras == nullptr) {
        mi_info("life init");
        *request = miTRUE;
        return;
    }
    void** slot = nullptr;
    mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &slot);
    const miScalar value = *mi_eval_scalar(&paras->value);
    mi_info("life init %s value %g slot %s", label_of(state, paras), static_cast<double>(value),
            *slot == nullptr ? "empty" : "taken");
    *slot = new std::atomic<int>(0);
}
DLLEXPORT miBoolean test_life(miColor* result, miState* state, LifeParameters* paras) {
    void** slot = nullptr;
    mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &slot);
    ++*static_cast<std::atomic<int>*>(*slot);
    void* mine = nullptr;
    mi_query(miQ_FUNC_TLS_GET, state, miNULLTAG, &mine);
    mine = static_cast<char*>(mine) + 1;
    mi_query(miQ_FUNC_TLS_SET, state, miNULLTAG, &mine);
    result->r = *mi_eval_scalar(&paras->value);
    result->g = static_cast<miScalar>(reinterpret_cast<uintptr_t>(mine));
    return miTRUE;
}
DLLEXPORT void test_life_exit(miState* state, LifeParameters* paras) {
    if (paras == nullptr) {
        mi_info("life exit");
        return;
    }
    void** slot = nullptr;
    mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &slot);
    auto* const calls = static_cast<std::atomic<int>*>(*slot);
    mi_info("life exit %s after %d calls", label_of(state, paras), calls->load());
    delete calls;
}

// Has no instance init, so its exit is called for the shader only.
DLLEXPORT int test_simple_life_version(void) {
    return 1;
}
DLLEXPORT void test_simple_life_init(miState*, void* paras, miBoolean*) {
    mi_info("simple init %s", paras == nullptr ? "shader" : "instance");
}
DLLEXPORT miBoolean test_simple_life(miColor*, miState*, void*) {
    return miTRUE;
}
DLLEXPORT void test_simple_life_exit(miState*, void* paras) {
    mi_info("simple exit %s", paras == nullptr ? "shader" : "instance");
}

// Reports the value of a connected scalar, so that init runs another shader.
struct ScalarParameters {
    miScalar value;
};
DLLEXPORT int test_scalar_version(void) {
    return 1;
}
DLLEXPORT void test_scalar_init(miState* state, ScalarParameters* paras, miBoolean* request) {
    if (paras == nullptr)
        *request = miTRUE;
    else
        mi_eval_scalar(&paras->value);
}
DLLEXPORT miBoolean test_scalar(miScalar* result, miState* state, ScalarParameters* paras) {
    *result = *mi_eval_scalar(&paras->value) + 1;
    return miTRUE;
}

DLLEXPORT int test_newer_version(void) {
    return 3;
}
DLLEXPORT void test_newer_init(miState*, void*, miBoolean*) {
    mi_info("newer init");
}
DLLEXPORT miBoolean test_newer(miColor* result, miState*, void*) {
    *result = {1, 1, 1, 1};
    return miTRUE;
}

DLLEXPORT miBoolean test_unversioned(miColor* result, miState*, void*) {
    *result = {2, 2, 2, 2};
    return miTRUE;
}

// Set by the tests that use it.
DLLEXPORT EntryHook* test_entry_hook = nullptr;
static void* volatile allocated; // keeps the compiler from removing the allocation
static void enter(const char* entry) {
    const std::size_t bytes = (*test_entry_hook)(entry);
    if (bytes == 0) return;
    allocated = ::operator new(bytes);
    ::operator delete(allocated);
}
DLLEXPORT int test_entries_version(void) {
    enter("version");
    return 1;
}
DLLEXPORT void test_entries_init(miState*, void* paras, miBoolean* request) {
    enter(paras == nullptr ? "init" : "instance init");
    if (paras == nullptr) *request = miTRUE;
}
DLLEXPORT miBoolean test_entries(miColor* result, miState*, void*) {
    enter("call");
    *result = {1, 1, 1, 1};
    return miTRUE;
}
DLLEXPORT void test_entries_exit(miState*, void* paras) {
    enter(paras == nullptr ? "exit" : "instance exit");
}

// Reads parameters as the point-cloud library does: through the record in the state.
DLLEXPORT int test_read_through_version(void) {
    return 1;
}
DLLEXPORT miBoolean test_read_through(miColor*, miState*, void*) {
    return miTRUE;
}
DLLEXPORT miInteger test_eval_integer_at(miState* state, miFunction* function, int offset) {
    char* const param = function->parameters + offset;
    if (state->shader->connected != 1) return *reinterpret_cast<miInteger*>(param);
    const miTag ghost = *reinterpret_cast<miTag*>(param + state->shader->ghost_offs);
    if (ghost == miNULLTAG || ghost == miGHOST_PLAIN) return *reinterpret_cast<miInteger*>(param);
    return *static_cast<miInteger*>(mi_phen_eval(state, param));
}
}
