// The C functions of shader.h, implemented by the Renderer that exists.
#include "tests/renderer_stub/renderer_stub.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

#include <gtest/gtest.h>

namespace {

using vx::stub::Probe;
using vx::stub::Renderer;
using vx::stub::Shaded;
using vx::stub::text_of;

// Shaders never release what they store per thread, as a renderer's threads end with the program.
// Keeps it reachable for leak checkers after the Renderer is gone.
void keep_reachable(void* pointer) {
    static auto* const kPointers = new std::vector<void*>;
    kPointers->push_back(pointer);
}

// The next configured answer, or `none`.
template <class Answer>
Answer next_of(std::deque<Answer>& answers, const Answer& none) {
    if (answers.empty()) return none;
    Answer answer = answers.front();
    answers.pop_front();
    return answer;
}

// Replaces the child state.
void set_child(Renderer& r, miState* state, miRay_type type, const Probe& hit, const miVector& org,
               const miVector& dir) {
    const std::lock_guard guard(r.mutex);
    r.children.erase(state);
    state->child = nullptr;
    if (hit) {
        auto child = std::make_unique<miState>(*state);
        child->parent = state;
        child->type = type;
        child->org = org;
        child->dir = dir;
        child->point = hit->point;
        child->normal = hit->normal;
        child->normal_geom = {hit->normal.y, hit->normal.z, hit->normal.x}; // a different vector
        child->inv_normal = hit->inv_normal ? 1 : 0;
        child->instance = hit->instance;
        child->dist = hit->dist;
        if (hit->shader != nullptr) child->shader = hit->shader;
        state->child = child.get();
        r.children[state] = std::move(child);
    }
    // Callers must not rely on these after a trace.
    state->pri = state;
    state->cache = state;
}

// "tag+offset" of a parameter.
std::string place_of(const Renderer& r, const void* parameter) {
    for (const auto& [tag, element] : r.elements) {
        if (element.type != miSCENE_FUNCTION) continue;
        const auto* function =
            static_cast<const miFunction*>(static_cast<const void*>(element.bytes.data()));
        const auto offset = static_cast<const char*>(parameter) - function->parameters;
        if (offset >= 0 && offset < function->parameter_size)
            return std::to_string(tag) + "+" + std::to_string(offset);
    }
    return "outside every block";
}

void message(const char* level, const char* format, va_list arguments) {
    std::array<char, 4096> text = {};
    (void)std::vsnprintf(text.data(), text.size(), format, arguments);
    std::replace(text.begin(), text.end(), '\n', ' ');
    Renderer::current().note(std::string(level) + ": " + text.data());
}

} // namespace

extern "C" {

void* mi_db_access(const miTag tag) {
    Renderer& r = Renderer::current();
    r.note("db_access(" + std::to_string(tag) + ")");
    const std::lock_guard guard(r.mutex);
    ++r.pins(tag);
    return r.record<void>(tag);
}

void mi_db_unpin(const miTag tag) {
    Renderer& r = Renderer::current();
    r.note("db_unpin(" + std::to_string(tag) + ")");
    const std::lock_guard guard(r.mutex);
    if (--r.pins(tag) < 0) ADD_FAILURE() << "element " << tag << " unpinned without a pin";
}

int mi_db_type(const miTag tag) {
    Renderer& r = Renderer::current();
    r.note("db_type(" + std::to_string(tag) + ")");
    return r.elements.at(tag).type;
}

miBoolean mi_query(const miQ_type query, miState* const state, miTag tag, void* const result, ...) {
    Renderer& r = Renderer::current();
    r.note("query(" + std::to_string(query) + (tag == 0 ? "" : ", " + std::to_string(tag)) + ")");
    const std::lock_guard guard(r.mutex);
    if (query == miQ_FUNC_DECL) {
        const miFunction* const function = state != nullptr ? state->shader : r.function(tag);
        *static_cast<miTag*>(result) = function->function_decl;
        return miTRUE;
    }
    if (state->shader == nullptr) return miFALSE;
    void*& thread_pointer = r.thread_pointers[{state->shader, state->thread}];
    switch (query) {
    case miQ_FUNC_USERPTR:
        *static_cast<void***>(result) = r.user_pointer(state->shader);
        return miTRUE;
    case miQ_FUNC_TLS_GET:
        *static_cast<void**>(result) = thread_pointer;
        return miTRUE;
    case miQ_FUNC_TLS_SET:
        thread_pointer = *static_cast<void**>(result);
        keep_reachable(thread_pointer);
        return miTRUE;
    default:
        return miFALSE;
    }
}

miBoolean mi_api_parameter_lookup(miParam_type* type, miBoolean* is_array, int* offset, miTag decl,
                                  miBoolean out, char* name) {
    Renderer& r = Renderer::current();
    const std::string wanted(name);
    r.note("parameter_lookup(" + std::to_string(decl) + ", " + wanted + ")");
    const std::lock_guard guard(r.mutex);
    if (r.strings.erase(name) == 0) ADD_FAILURE() << wanted << " is not from mi_mem_strdup";
    const auto& parameters = r.elements.at(decl).parameters;
    const auto found = parameters.find(wanted);
    if (found == parameters.end() || out != miFALSE) return miFALSE;
    *type = miTYPE_COLOR;
    *is_array = miFALSE;
    *offset = found->second;
    return miTRUE;
}

char* mi_mem_int_strdup(const char* /*file*/, int /*line*/, const char* text) {
    Renderer& r = Renderer::current();
    r.note("strdup(" + std::string(text) + ")");
    const std::lock_guard guard(r.mutex);
    const size_t size = std::strlen(text) + 1;
    auto copy = std::make_unique<char[]>(size);
    char* const address = copy.get();
    std::memcpy(address, text, size);
    r.strings[address] = std::move(copy);
    return address;
}

miBoolean mi_sample(double* sample, int* instance, miState* /*state*/, const miUshort dimension,
                    const miUint* n) {
    Renderer& r = Renderer::current();
    const int count = static_cast<int>(*n);
    const std::string call =
        "sample(" + std::to_string(dimension) + ", n " + std::to_string(count) + ") -> ";
    if (*instance >= count) {
        r.note(call + "end");
        return miFALSE;
    }
    const int index = (*instance)++;
    const double regular = (index + 0.5) / count;
    const auto position = r.on_sample ? r.on_sample(index, count) : std::array{regular, regular};
    std::copy_n(position.begin(), std::min<int>(dimension, 2), sample);
    r.note(call + text_of(position[0]) + ' ' + text_of(position[1]));
    return miTRUE;
}

void mi_vector_from_camera(miState* /*state*/, miVector* r, miVector* v) {
    Renderer::current().note("vector_from_camera(" + text_of(*v) + ")");
    const miScalar* const m = Renderer::current().camera_to_internal;
    *r = {v->x * m[0] + v->y * m[4] + v->z * m[8], v->x * m[1] + v->y * m[5] + v->z * m[9],
          v->x * m[2] + v->y * m[6] + v->z * m[10]};
}

miBoolean mi_trace_probe(miState* state, miVector* direction, miVector* origin) {
    Renderer& r = Renderer::current();
    const miVector dir = *direction;
    const miVector org = *origin;
    r.note("trace_probe(org " + text_of(org) + ", dir " + text_of(dir) + ")");
    const Probe hit = r.on_probe ? r.on_probe(state, dir, org) : next_of(r.probes, Probe());
    set_child(r, state, miRAY_PROBE, hit, org, dir);
    return r.probe_result.value_or(hit ? miTRUE : miFALSE);
}

miBoolean mi_trace_reflection(miColor* result, miState* state, miVector* direction) {
    Renderer& r = Renderer::current();
    const miVector dir = *direction;
    r.note("trace_reflection(point " + text_of(state->point) + ", dir " + text_of(dir) + ")");
    const Shaded miss = {.end = std::nullopt, .result = false};
    const Shaded shaded = r.on_reflection ? r.on_reflection(state, dir) : next_of(r.shadings, miss);
    set_child(r, state, miRAY_REFLECT, shaded.end, state->point, dir);
    if (shaded.sets_color) *result = shaded.color;
    return shaded.result ? miTRUE : miFALSE;
}

miBoolean mi_trace_eye(miColor* result, miState* state, miVector* origin, miVector* direction) {
    Renderer& r = Renderer::current();
    r.note("trace_eye(org " + text_of(*origin) + ", dir " + text_of(*direction) + ")");
    const miVector org = *origin; // may be a member of the state, like the direction
    state->dir = *direction;
    state->org = org;
    if (r.on_eye) return r.on_eye(result, state);
    *result = {0.25f, 0.5f, 0.75f, 1.0f};
    return miTRUE;
}

void mi_flush_cache(miState* state) {
    Renderer::current().note("flush_cache(point " + text_of(state->point) + ")");
    state->cache = nullptr;
}

void* mi_phen_eval(miState* state, void* param) {
    Renderer& r = Renderer::current();
    const std::string place = place_of(r, param);
    r.note("phen_eval(" + place + ")");
    miTag connection = miNULLTAG;
    std::memcpy(&connection, static_cast<char*>(param) + state->shader->ghost_offs,
                sizeof connection);
    const auto value = r.connected.find(connection);
    if (value == r.connected.end()) throw std::logic_error("no value for the parameter " + place);
    r.evaluated = std::vector(value->second);
    return r.evaluated.data();
}

miBoolean mi_shaderstate_set(miState* state, const char* key, void* data, int size, int lifetime) {
    Renderer& r = Renderer::current();
    std::string value = "none";
    if (size == sizeof(int)) {
        int word = 0;
        std::memcpy(&word, data, sizeof word);
        value = std::to_string(word);
    }
    r.note("shaderstate_set(" + std::string(key) + " = " + value + ", " + std::to_string(size) +
           " bytes, lifetime " + std::to_string(lifetime) + ")");
    if (r.on_shaderstate_set) r.on_shaderstate_set(state);
    const std::lock_guard guard(r.mutex);
    const auto* const bytes = static_cast<const std::byte*>(data);
    r.state_data[{state, key}] = std::vector(bytes, bytes + size);
    return miTRUE;
}

void* mi_shaderstate_get(miState* state, const char* key, int* size) {
    Renderer& r = Renderer::current();
    r.note("shaderstate_get(" + std::string(key) + ")");
    if (r.on_shaderstate_get) return r.on_shaderstate_get(state, size);
    const std::lock_guard guard(r.mutex);
    *size = 0;
    for (const miState* s = state; s != nullptr; s = s->parent) {
        const auto found = r.state_data.find({s, key});
        if (found == r.state_data.end()) continue;
        *size = static_cast<int>(found->second.size());
        return found->second.data();
    }
    return nullptr;
}

int mi_string_substitute(char* buffer, const char* text, int capacity) {
    Renderer& r = Renderer::current();
    std::string substituted(text);
    r.note("string_substitute(" + substituted + ", " + std::to_string(capacity) + ")");
    if (r.on_substitute) return r.on_substitute(buffer, text, capacity);
    for (const auto& [name, value] : r.substitutions)
        for (size_t at = substituted.find(name); at != std::string::npos;
             at = substituted.find(name, at + value.size()))
            substituted.replace(at, name.size(), value);
    const size_t length = substituted.copy(buffer, static_cast<size_t>(capacity) - 1);
    buffer[length] = '\0';
    return static_cast<int>(length);
}

void mi_init_lock(miLock* handle) {
    Renderer& r = Renderer::current();
    auto made = std::make_unique<Renderer::Lock>();
    made->number = ++r.locks_made;
    r.note("init_lock(" + std::to_string(made->number) + ")");
    const std::lock_guard guard(r.mutex);
    *handle = made.get();
    r.locks[*handle] = std::move(made);
}

void mi_delete_lock(miLock* handle) {
    Renderer& r = Renderer::current();
    const Renderer::Lock& lock = *r.locks.at(*handle);
    r.note("delete_lock(" + std::to_string(lock.number) + ")");
    if (lock.holder != std::thread::id()) ADD_FAILURE() << "lock deleted while held";
    const std::lock_guard guard(r.mutex);
    r.locks.erase(*handle);
}

void mi_lock(miLock handle) {
    Renderer& r = Renderer::current();
    Renderer::Lock& lock = *r.locks.at(handle);
    {
        const std::lock_guard guard(r.mutex);
        if (lock.holder == std::this_thread::get_id())
            throw std::logic_error("lock taken twice by one thread");
    }
    lock.mutex.lock();
    r.note("lock(" + std::to_string(lock.number) + ")");
    const std::lock_guard guard(r.mutex);
    lock.holder = std::this_thread::get_id();
}

void mi_unlock(miLock handle) {
    Renderer& r = Renderer::current();
    Renderer::Lock& lock = *r.locks.at(handle);
    r.note("unlock(" + std::to_string(lock.number) + ")");
    {
        const std::lock_guard guard(r.mutex);
        if (lock.holder != std::this_thread::get_id())
            throw std::logic_error("lock released by a thread that does not hold it");
        lock.holder = {};
    }
    lock.mutex.unlock();
}

void mi_info(const char* const text, ...) {
    va_list arguments;
    va_start(arguments, text);
    message("info", text, arguments);
    va_end(arguments);
}

void mi_warning(const char* const text, ...) {
    va_list arguments;
    va_start(arguments, text);
    message("warning", text, arguments);
    va_end(arguments);
}

} // extern "C"
