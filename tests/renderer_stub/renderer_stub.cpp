#include "tests/renderer_stub/renderer_stub.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <iterator>
#include <stdexcept>

namespace vx::stub {

namespace {

std::atomic<Renderer*> the_renderer = nullptr;

template <class T>
std::string shortest(T value) {
    if (value == 0) return "0";
    std::array<char, 64> buffer = {};
    return {buffer.data(), std::to_chars(buffer.begin(), buffer.end(), value).ptr};
}

} // namespace

std::string text_of(double value) {
    return shortest(value);
}
std::string text_of(float value) {
    return shortest(value);
}
std::string text_of(int value) {
    return std::to_string(value);
}
std::string text_of(const miVector& v) {
    return text_of(v.x) + ' ' + text_of(v.y) + ' ' + text_of(v.z);
}

Renderer::Renderer() {
    camera.focal = 1;
    camera.aperture = 1;
    camera.aspect = 1;
    camera.x_resolution = 2;
    camera.y_resolution = 2;
    Renderer* none = nullptr;
    if (!the_renderer.compare_exchange_strong(none, this)) throw std::logic_error("two renderers");
}

Renderer::~Renderer() {
    the_renderer = nullptr;
}

Renderer& Renderer::current() {
    Renderer* const renderer = the_renderer;
    if (renderer == nullptr) throw std::logic_error("no renderer");
    return *renderer;
}

// ---- the record ----

void Renderer::note(std::string call) {
    const std::lock_guard guard(mutex);
    m_calls.push_back(std::move(call));
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
    const std::lock_guard guard(mutex);
    std::vector<std::string> left;
    for (const auto& [tag, element] : elements)
        if (element.pins > 0)
            left.push_back("element " + std::to_string(tag) + " pinned " +
                           std::to_string(element.pins) + " times");
    for (const auto& [handle, lock] : locks) {
        const bool held = lock->holder != std::thread::id();
        left.push_back("lock " + std::to_string(lock->number) + (held ? " held" : ""));
    }
    for (const auto& [text, owner] : strings)
        left.push_back("copy of '" + std::string(text) + "'");
    return left;
}

// ---- the database ----

miTag Renderer::add(int type, const void* bytes, size_t size) {
    const auto tag = static_cast<miTag>(elements.size() + 1);
    Element& element = elements[tag];
    element.type = type;
    element.bytes.resize(size);
    if (bytes != nullptr && size > 0) std::memcpy(element.bytes.data(), bytes, size);
    return tag;
}

miTag Renderer::add_string(std::string_view text) {
    const std::string terminated(text);
    return add(miSCENE_STRING, terminated.c_str(), terminated.size() + 1);
}

miTag Renderer::add_material(miTag shader) {
    miMaterial material = {};
    material.shader = shader;
    return add(miSCENE_MATERIAL, &material, sizeof material);
}

miTag Renderer::add_declaration(std::string_view name,
                                const std::map<std::string, int>& parameters) {
    constexpr size_t kStart = offsetof(miFunction_decl, name);
    const size_t size = std::max(kStart + name.size() + 1, sizeof(miFunction_decl));
    const miTag tag = add(miSCENE_FUNCTION_DECL, nullptr, size);
    name.copy(record<char>(tag) + kStart, name.size());
    elements.at(tag).parameters = parameters;
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
    auto* const added = function(tag);
    auto* const parameters = record<char>(tag) + start;
    added->type = setup.type;
    added->function_decl = setup.declaration;
    added->parameter_size = static_cast<int>(block);
    added->ghost_offs = ghost ? static_cast<int>(offset) : 0;
    added->connected = setup.flag.value_or(ghost ? 1 : 0);
    if (block > 0) std::memcpy(parameters, setup.block.data(), block);
    for (const auto& [place, connection] : setup.connections)
        std::memcpy(parameters + offset + place, &connection, sizeof connection);
    return tag;
}

miTag Renderer::add_instance(const std::vector<miTag>& materials) {
    miInstance instance = {};
    instance.mtl_array_size = static_cast<int>(materials.size());
    if (!materials.empty())
        instance.material = add(miSCENE_TAGS, materials.data(), materials.size() * sizeof(miTag));
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

} // namespace vx::stub
