#include "host/shading/thread.h"

#include <algorithm>
#include <cstring>

#include "host/shading/context.h"

namespace vx::shading {

namespace {

constexpr std::size_t kArenaChunkSize = std::size_t{64} << 10;

constexpr std::size_t round_up(std::size_t bytes) {
    return (bytes + 15) & ~std::size_t{15};
}

} // namespace

void* StackMemory::allocate(std::size_t bytes) {
    const std::size_t room = round_up(bytes == 0 ? 1 : bytes);
    while (m_chunk < m_chunks.size() && m_used + room > m_chunks[m_chunk].size) {
        ++m_chunk;
        m_used = 0;
    }
    if (m_chunk == m_chunks.size()) {
        const std::size_t size = std::max(kArenaChunkSize, room);
        m_chunks.push_back({std::make_unique_for_overwrite<std::byte[]>(size), size});
        m_used = 0;
    }
    std::byte* const block = m_chunks[m_chunk].memory.get() + m_used;
    m_used += room;
    std::memset(block, 0, room);
    return block;
}

void StackMemory::release(Mark mark) {
    m_chunk = mark.chunk;
    m_used = mark.used;
}

CallFrame::CallFrame(Context& context, const Function& called, miState* call_state,
                     miShader_type as, miFunction* record)
    : function(called),
      state(call_state),
      role(as),
      previous(context.thread().top),
      depth(previous == nullptr ? 1 : previous->depth + 1),
      evaluations(as != miSHADER_TEXTURE ? 0
                  : previous == nullptr  ? 1
                                         : previous->evaluations + 1),
      m_thread(context.thread()),
      m_caller(call_state->shader),
      m_mark(m_thread.results.mark()) {
    m_thread.top = this;
    state->shader = record;
}

CallFrame::~CallFrame() {
    state->shader = m_caller;
    m_thread.top = previous;
    m_thread.results.release(m_mark);
}

void* CallFrame::result_memory(const void* param, std::size_t bytes) {
    for (Result* s = m_results; s != nullptr; s = s->next) {
        if (s->param != param || s->bytes != bytes) continue;
        void* const block = reinterpret_cast<std::byte*>(s) + round_up(sizeof(Result));
        std::memset(block, 0, bytes);
        return block;
    }
    void* const memory = m_thread.results.allocate(round_up(sizeof(Result)) + bytes);
    m_results = new (memory) Result{param, bytes, m_results};
    return static_cast<std::byte*>(memory) + round_up(sizeof(Result));
}

std::string ThreadContext::with_shader(std::string_view text) const {
    return (top == nullptr ? std::string() : top->function.label() + ": ").append(text);
}

ThreadContext::StateData* ThreadContext::find_data(const miState* owner, std::string_view key) {
    const auto found = std::find_if(m_data.rbegin(), m_data.rend(), [&](const StateData& entry) {
        return entry.owner == owner && entry.key == key;
    });
    return found == m_data.rend() ? nullptr : &*found;
}

bool ThreadContext::set_state_data(const miState* state, std::string_view key, const void* data,
                                   int size, int lifetime) {
    if (size < 0 || (data == nullptr && size != 0)) return false;
    const miState* const owner = lifetime == miSS_LIFETIME_RECT ? nullptr : state;
    StateData* const entry = find_data(owner, key);
    if (data == nullptr) {
        if (entry == nullptr) return false;
        m_data.erase(m_data.begin() + (entry - m_data.data()));
        return true;
    }
    const auto bytes = static_cast<std::size_t>(size);
    if (entry != nullptr && entry->size == size) {
        // `data` may point to the stored bytes.
        std::memmove(entry->bytes.get(), data, bytes);
        return true;
    }
    // An entry of size 0 has one byte, so that its address is not null.
    auto copy = std::make_unique<std::byte[]>(bytes == 0 ? 1 : bytes);
    std::memcpy(copy.get(), data, bytes);
    if (entry != nullptr) {
        entry->bytes = std::move(copy);
        entry->size = size;
    } else {
        m_data.push_back({owner, std::string(key), std::move(copy), size});
    }
    return true;
}

void* ThreadContext::state_data(const miState* state, std::string_view key, int* size) {
    if (size != nullptr) *size = 0;
    if (m_data.empty()) return nullptr;
    StateData* entry = nullptr;
    for (const miState* s = state; s != nullptr && entry == nullptr; s = s->parent)
        entry = find_data(s, key);
    if (entry == nullptr) entry = find_data(nullptr, key);
    if (entry == nullptr) return nullptr;
    if (size != nullptr) *size = entry->size;
    return entry->bytes.get();
}

void ThreadContext::drop_state_data(const miState* state) {
    if (!m_data.empty())
        std::erase_if(m_data, [state](const StateData& entry) { return entry.owner == state; });
}

void ThreadContext::end_tile() {
    std::erase_if(m_data, [](const StateData& entry) { return entry.owner == nullptr; });
}

void* ThreadContext::outer_result_memory(const void* param, std::size_t bytes) {
    std::unique_ptr<std::byte[]>& block = m_outer_results[{param, bytes}];
    if (block == nullptr) block = std::make_unique<std::byte[]>(bytes == 0 ? 1 : bytes);
    std::memset(block.get(), 0, bytes);
    return block.get();
}

void ThreadContext::clear() {
    m_data.clear();
    m_outer_results.clear();
}

void ThreadContext::set_instance_pointer(std::size_t index, void* pointer) {
    if (index >= m_instance_pointers.size()) m_instance_pointers.resize(index + 1, nullptr);
    m_instance_pointers[index] = pointer;
}

} // namespace vx::shading
