#include "tests/renderer_stub/renderer_stub.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <concepts>
#include <cstdlib>
#include <stdexcept>

namespace vx::stub {

namespace {

std::atomic<Renderer*> the_renderer = nullptr;

template <class T>
std::string shortest(T value) {
    std::array<char, 64> buffer = {};
    if (value == 0) return "0"; // of either sign
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
    return {buffer.data(), end};
}

void* exact_block(const void* bytes, size_t size) {
    void* block = std::calloc(1, std::max<size_t>(size, 1));
    if (bytes != nullptr && size > 0) std::memcpy(block, bytes, size);
    return block;
}

std::string number(std::integral auto value) {
    return std::to_string(value);
}

// What a shader leaves in a thread's slot it may never release. A renderer's slots last as long as
// its threads; so do these, or a leak checker would report what is meant.
void remember_for_ever(void* pointer) {
    static std::mutex mutex;
    static auto* const kPointers = new std::vector<void*>;
    const std::lock_guard guard(mutex);
    kPointers->push_back(pointer);
}

} // namespace

std::string text_of(double value) {
    return shortest(value);
}
std::string text_of(float value) {
    return shortest(value);
}
std::string text_of(const miVector& v) {
    return text_of(v.x) + ' ' + text_of(v.y) + ' ' + text_of(v.z);
}

void Renderer::Free::operator()(void* bytes) const {
    std::free(bytes);
}

Renderer::Renderer() {
    camera.focal = 1;
    camera.aperture = 1;
    camera.aspect = 1;
    camera.x_resolution = 2;
    camera.y_resolution = 2;
    Renderer* nobody = nullptr;
    if (!the_renderer.compare_exchange_strong(nobody, this))
        throw std::logic_error("there is a stand-in renderer already");
}

Renderer::~Renderer() {
    the_renderer = nullptr;
    for (const auto& [text, name] : m_strings)
        std::free(text);
}

Renderer& Renderer::current() {
    Renderer* renderer = the_renderer;
    if (renderer == nullptr) throw std::logic_error("a renderer's function outside its life");
    return *renderer;
}

// ---- the record ----

void Renderer::note(std::string call) {
    const std::lock_guard guard(m_mutex);
    m_calls.push_back(std::move(call));
}

void Renderer::complain(std::string what) {
    const std::lock_guard guard(m_mutex);
    m_complaints.push_back(std::move(what));
}

std::vector<std::string> Renderer::calls_starting_with(std::string_view prefix) const {
    std::vector<std::string> found;
    std::copy_if(m_calls.begin(), m_calls.end(), std::back_inserter(found),
                 [&](const std::string& call) { return call.starts_with(prefix); });
    return found;
}

std::vector<std::string> Renderer::messages() const {
    std::vector<std::string> found;
    std::copy_if(m_calls.begin(), m_calls.end(), std::back_inserter(found),
                 [](const std::string& call) {
                     return call.starts_with("info: ") || call.starts_with("warning: ");
                 });
    return found;
}

std::vector<std::string> Renderer::left_over() const {
    const std::lock_guard guard(m_mutex);
    std::vector<std::string> left = m_complaints;
    for (const auto& [tag, element] : m_elements)
        if (element.pins > 0)
            left.push_back("element " + number(tag) + " pinned " + number(element.pins) + " times");
    for (const auto& [handle, lock] : m_locks) {
        if (lock->holder != std::thread::id())
            left.push_back("lock " + number(lock->number) + " held");
        left.push_back("lock " + number(lock->number) + " not deleted");
    }
    for (const auto& [text, name] : m_strings)
        left.push_back("copy of '" + name + "' not handed over");
    return left;
}

bool Renderer::holds_a_lock() const {
    const std::lock_guard guard(m_mutex);
    return std::any_of(m_locks.begin(), m_locks.end(),
                       [](const auto& lock) { return lock.second->holder != std::thread::id(); });
}

int Renderer::pins(miTag tag) const {
    const std::lock_guard guard(m_mutex);
    return m_elements.at(tag).pins;
}

void Renderer::forget_pins(miTag tag) {
    element(tag).pins = 0;
}

// ---- the database ----

Renderer::Element& Renderer::element(miTag tag) {
    const auto found = m_elements.find(tag);
    if (found == m_elements.end())
        throw std::logic_error("there is no element with the tag " + number(tag));
    return found->second;
}

miTag Renderer::add(int type, const void* bytes, size_t size) {
    const miTag tag = m_next_tag++;
    m_elements[tag] = {type, size, std::unique_ptr<void, Free>(exact_block(bytes, size)), 0, {}};
    return tag;
}

miTag Renderer::add_string(std::string_view text) {
    const std::string terminated(text);
    return add(miSCENE_STRING, terminated.c_str(), terminated.size() + 1);
}

miTag Renderer::add_tags(const std::vector<miTag>& tags) {
    return add(miSCENE_TAGS, tags.data(), tags.size() * sizeof(miTag));
}

miTag Renderer::add_material(miTag shader) {
    miMaterial material = {};
    material.shader = shader;
    return add(miSCENE_MATERIAL, &material, sizeof material);
}

miTag Renderer::add_declaration(std::string_view name,
                                const std::map<std::string, int>& parameters) {
    std::vector<char> bytes(offsetof(miFunction_decl, name) + name.size() + 1);
    bytes.resize(std::max(bytes.size(), sizeof(miFunction_decl)));
    std::copy(name.begin(), name.end(),
              bytes.begin() + std::ptrdiff_t{offsetof(miFunction_decl, name)});
    const miTag tag = add(miSCENE_FUNCTION_DECL, bytes.data(), bytes.size());
    element(tag).parameters = parameters;
    return tag;
}

miTag Renderer::add_function(const FunctionSetup& setup) {
    const bool ghost = setup.ghost.value_or(!setup.connections.empty());
    const size_t block = setup.block.size();
    const size_t offset =
        setup.ghost_offset ? static_cast<size_t>(*setup.ghost_offset) : (block + 7) / 8 * 8;
    const size_t start = offsetof(miFunction, parameters);
    const size_t size = std::max(sizeof(miFunction), start + (ghost ? offset : 0) + block);
    const miTag tag = add(miSCENE_FUNCTION, nullptr, size);
    auto* function = record<miFunction>(tag);
    auto* bytes = record<char>(tag) + start;
    function->type = setup.type;
    function->function_decl = setup.declaration;
    function->parameter_size = static_cast<int>(block);
    function->ghost_offs = ghost ? static_cast<int>(offset) : 0;
    function->connected = setup.flag.value_or(ghost ? 1 : 0);
    if (block > 0) std::memcpy(bytes, setup.block.data(), block);
    for (const auto& [place, connection] : setup.connections)
        std::memcpy(bytes + offset + place, &connection, sizeof connection);
    return tag;
}

miTag Renderer::add_instance(const std::vector<miTag>& materials) {
    miInstance instance = {};
    instance.mtl_array_size = static_cast<int>(materials.size());
    if (!materials.empty()) instance.material = add_tags(materials);
    return add(miSCENE_INSTANCE, &instance, sizeof instance);
}

miState Renderer::new_state(miTag function_tag) {
    miState state = {};
    state.version = 2;
    state.camera = &camera;
    state.options = &options;
    if (function_tag != miNULLTAG) state.shader = function(function_tag);
    return state;
}

// ---- behind the C functions ----

void* Renderer::db_access(miTag tag) {
    note("db_access(" + number(tag) + ")");
    const std::lock_guard guard(m_mutex);
    Element& accessed = element(tag);
    ++accessed.pins;
    return accessed.bytes.get();
}

void Renderer::db_unpin(miTag tag) {
    note("db_unpin(" + number(tag) + ")");
    const std::lock_guard guard(m_mutex);
    Element& released = element(tag);
    if (released.pins == 0)
        m_complaints.push_back("element " + number(tag) + " unpinned without a pin");
    else
        --released.pins;
}

int Renderer::db_type(miTag tag) {
    note("db_type(" + number(tag) + ")");
    const std::lock_guard guard(m_mutex);
    return element(tag).type;
}

miBoolean Renderer::query(int code, miState* state, miTag tag, void* result) {
    note("query(" + number(code) + (tag != miNULLTAG ? ", " + number(tag) : std::string()) + ")");
    if (refused_queries.contains(code)) return miFALSE;
    const std::lock_guard guard(m_mutex);
    switch (code) {
    case 51:
        if (state->shader == nullptr) return miFALSE;
        *static_cast<void***>(result) = &m_user_pointers[state->shader];
        return miTRUE;
    case 54: {
        const auto* function = state != nullptr ? state->shader : record<miFunction>(tag);
        *static_cast<miTag*>(result) = function->function_decl;
        return miTRUE;
    }
    case 124:
        *static_cast<void**>(result) = m_thread_pointers[{state->shader, state->thread}];
        return miTRUE;
    case 126:
        m_thread_pointers[{state->shader, state->thread}] = *static_cast<void**>(result);
        remember_for_ever(*static_cast<void**>(result));
        return miTRUE;
    default:
        return miFALSE;
    }
}

miBoolean Renderer::parameter_lookup(miParam_type* type, miBoolean* is_array, int* offset,
                                     miTag decl, miBoolean out, char* name) {
    const std::string wanted(name);
    note("parameter_lookup(" + number(decl) + ", " + wanted + ")");
    const std::lock_guard guard(m_mutex);
    if (m_strings.erase(name) == 0)
        m_complaints.push_back("the name '" + wanted + "' is not the renderer's memory");
    else
        std::free(name);
    const auto& parameters = element(decl).parameters;
    const auto found = parameters.find(wanted);
    if (found == parameters.end() || out != miFALSE) return miFALSE;
    *type = miTYPE_COLOR;
    *is_array = miFALSE;
    *offset = found->second;
    return miTRUE;
}

char* Renderer::strdup(const char* file, int line, const char* text) {
    note("strdup(" + std::string(text) + ")");
    if (file == nullptr || line <= 0) complain("a copy of a text without its place");
    const std::lock_guard guard(m_mutex);
    auto* copy = static_cast<char*>(exact_block(text, std::strlen(text) + 1));
    m_strings[copy] = text;
    return copy;
}

miBoolean Renderer::sample(double* sample, int* instance, miState* /*state*/, int dimension,
                           const miUint* n) {
    const std::string call = "sample(" + number(dimension) + ", n " + number(*n) + ")";
    if (*instance >= static_cast<int>(*n)) {
        note(call + " -> end");
        return miFALSE;
    }
    const int index = (*instance)++;
    const double regular = (index + 0.5) / *n;
    const std::array<double, 2> position =
        on_sample ? on_sample(index, static_cast<int>(*n)) : std::array{regular, regular};
    std::copy_n(position.begin(), std::min(dimension, 2), sample);
    note(call + " -> " + text_of(position[0]) + ' ' + text_of(position[1]));
    return miTRUE;
}

void Renderer::set_child(miState* state, miRay_type type, const Probe& hit, const miVector& org,
                         const miVector& dir) {
    const std::lock_guard guard(m_mutex);
    if (state->child != nullptr) m_children.erase(state->child);
    m_children.erase(state);
    state->child = nullptr;
    if (!hit) return;
    auto child = std::make_unique<miState>(*state);
    child->parent = state;
    child->child = nullptr;
    child->type = type;
    child->org = org;
    child->dir = dir;
    child->point = hit->point;
    child->normal = hit->normal;
    child->normal_geom = {hit->normal.y, hit->normal.z, hit->normal.x}; // not the same one
    child->inv_normal = hit->inv_normal ? 1 : 0;
    child->instance = hit->instance;
    child->dist = hit->dist;
    if (hit->shader != nullptr) child->shader = hit->shader;
    state->child = child.get();
    m_children[state] = std::move(child);
}

miBoolean Renderer::trace_probe(miState* state, const miVector& dir, const miVector& org) {
    note("trace_probe(org " + text_of(org) + ", dir " + text_of(dir) + ")");
    const miVector from = org;
    Probe hit;
    if (on_probe) {
        hit = on_probe(state, dir, from);
    } else if (!probes.empty()) {
        hit = probes.front();
        probes.pop_front();
    }
    set_child(state, miRAY_PROBE, hit, from, dir);
    // What a trace leaves behind in its caller: nobody may rely on these words.
    state->pri = state;
    state->cache = state;
    return probe_result.value_or(hit ? miTRUE : miFALSE);
}

miBoolean Renderer::trace_reflection(miColor* result, miState* state, const miVector& dir) {
    note("trace_reflection(point " + text_of(state->point) + ", dir " + text_of(dir) + ")");
    Shaded shaded{.color = {0, 0, 0, 0}, .end = std::nullopt, .result = false};
    if (on_reflection) {
        shaded = on_reflection(state, dir);
    } else if (!shadings.empty()) {
        shaded = shadings.front();
        shadings.pop_front();
    }
    set_child(state, miRAY_REFLECT, shaded.end, state->point, dir);
    state->pri = state;
    state->cache = state;
    if (shaded.sets_color) *result = shaded.color;
    return shaded.result ? miTRUE : miFALSE;
}

miBoolean Renderer::trace_eye(miColor* result, miState* state, miVector org, miVector dir) {
    note("trace_eye(org " + text_of(org) + ", dir " + text_of(dir) + ")");
    state->org = org;
    state->dir = dir;
    if (on_eye) return on_eye(result, state);
    *result = eye_color;
    return miTRUE;
}

void Renderer::flush_cache(miState* state) {
    note("flush_cache(point " + text_of(state->point) + ")");
    state->cache = nullptr;
}

std::string Renderer::place_of(const miState* state, const void* param) {
    for (const auto& [tag, element] : m_elements) {
        if (element.type != miSCENE_FUNCTION) continue;
        const auto* function = static_cast<const miFunction*>(element.bytes.get());
        const auto offset = static_cast<const char*>(param) - function->parameters;
        if (offset >= 0 && offset < function->parameter_size)
            return number(tag) + "+" + number(offset);
    }
    return state->shader == nullptr ? "nowhere" : "outside every block";
}

void* Renderer::phen_eval(miState* state, void* param) {
    const std::string place = place_of(state, param);
    note("phen_eval(" + place + ")");
    miTag connection = miNULLTAG;
    std::memcpy(&connection, static_cast<char*>(param) + state->shader->ghost_offs,
                sizeof connection);
    const auto value = connected.find(connection);
    if (value == connected.end())
        throw std::logic_error("nothing is connected to the parameter at " + place);
    m_phen_result = std::vector<std::byte>(value->second);
    return m_phen_result.data();
}

miBoolean Renderer::shaderstate_set(miState* state, const char* key, const void* data, int size,
                                    int lifetime) {
    std::string value = "none";
    if (size == 4) {
        int word = 0;
        std::memcpy(&word, data, 4);
        value = number(word);
    }
    note("shaderstate_set(" + std::string(key) + " = " + value + ", " + number(size) +
         " bytes, lifetime " + number(lifetime) + ")");
    if (on_shaderstate_set) on_shaderstate_set(state);
    const std::lock_guard guard(m_mutex);
    if (data == nullptr) {
        m_state_data.erase({state, key});
        return miTRUE;
    }
    const auto* bytes = static_cast<const std::byte*>(data);
    m_state_data[{state, key}] = std::vector<std::byte>(bytes, bytes + size);
    return miTRUE;
}

void* Renderer::shaderstate_get(miState* state, const char* key, int* size) {
    note("shaderstate_get(" + std::string(key) + ")");
    if (on_shaderstate_get) return on_shaderstate_get(state, size);
    const std::lock_guard guard(m_mutex);
    for (const miState* s = state; s != nullptr; s = s->parent) {
        const auto found = m_state_data.find({s, key});
        if (found == m_state_data.end()) continue;
        if (size != nullptr) *size = static_cast<int>(found->second.size());
        return found->second.data();
    }
    if (size != nullptr) *size = 0;
    return nullptr;
}

int Renderer::string_substitute(char* buffer, const char* text, int capacity) {
    std::string substituted(text);
    note("string_substitute(" + substituted + ", " + number(capacity) + ")");
    if (on_substitute) return on_substitute(buffer, text, capacity);
    for (const auto& [name, value] : substitutions)
        for (size_t at = substituted.find(name); at != std::string::npos;
             at = substituted.find(name, at + value.size()))
            substituted.replace(at, name.size(), value);
    const size_t length =
        std::min(substituted.size(), static_cast<size_t>(std::max(capacity, 1)) - 1);
    std::memcpy(buffer, substituted.data(), length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}

void Renderer::vector_from_camera(miVector* result, const miVector& v) {
    note("vector_from_camera(" + text_of(v) + ")");
    const miScalar* m = camera_to_internal;
    *result = {v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
               v.x * m[2] + v.y * m[6] + v.z * m[10]};
}

void Renderer::init_lock(miLock* lock) {
    const std::lock_guard guard(m_mutex);
    auto made = std::make_unique<Lock>();
    made->number = ++m_lock_count;
    *lock = made.get();
    m_calls.push_back("init_lock(" + number(made->number) + ")");
    m_locks[*lock] = std::move(made);
}

void Renderer::delete_lock(miLock* lock) {
    const std::lock_guard guard(m_mutex);
    const auto found = m_locks.find(*lock);
    if (found == m_locks.end()) throw std::logic_error("delete_lock of what is no lock");
    m_calls.push_back("delete_lock(" + number(found->second->number) + ")");
    if (found->second->holder != std::thread::id())
        m_complaints.push_back("lock " + number(found->second->number) + " deleted while held");
    m_locks.erase(found);
}

void Renderer::lock(miLock lock) {
    Lock* found = nullptr;
    {
        const std::lock_guard guard(m_mutex);
        const auto at = m_locks.find(lock);
        if (at == m_locks.end()) throw std::logic_error("lock of what is no lock");
        found = at->second.get();
        if (found->holder == std::this_thread::get_id())
            throw std::logic_error("a lock taken twice by one thread");
    }
    found->mutex.lock();
    const std::lock_guard guard(m_mutex);
    found->holder = std::this_thread::get_id();
    m_calls.push_back("lock(" + number(found->number) + ")");
}

void Renderer::unlock(miLock lock) {
    Lock* found = nullptr;
    {
        const std::lock_guard guard(m_mutex);
        const auto at = m_locks.find(lock);
        if (at == m_locks.end()) throw std::logic_error("unlock of what is no lock");
        found = at->second.get();
        if (found->holder != std::this_thread::get_id())
            throw std::logic_error("a lock given back by a thread that does not hold it");
        found->holder = {};
        m_calls.push_back("unlock(" + number(found->number) + ")");
    }
    found->mutex.unlock();
}

} // namespace vx::stub
