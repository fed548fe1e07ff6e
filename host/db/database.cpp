#include "host/db/database.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vx::db {

namespace {

constexpr std::align_val_t kBlockAlignment{16};

void* new_block(std::size_t bytes) {
    // An empty element needs a distinct address, too.
    const std::size_t room = bytes == 0 ? 1 : bytes;
    void* const block = ::operator new(room, kBlockAlignment);
    std::memset(block, 0, room);
    return block;
}

void delete_block(void* block) {
    ::operator delete(block, kBlockAlignment);
}

void* new_text(std::string_view text) {
    void* const block = new_block(text.size() + 1);
    if (!text.empty()) std::memcpy(block, text.data(), text.size());
    return block;
}

void* new_tags(const std::vector<miTag>& tags) {
    void* const block = new_block(tags.size() * sizeof(miTag));
    if (!tags.empty()) std::memcpy(block, tags.data(), tags.size() * sizeof(miTag));
    return block;
}

} // namespace

BadTag::BadTag(miTag bad, const char* operation)
    : std::runtime_error(std::string(operation) +
                         (bad == miNULLTAG
                              ? " of the null tag"
                              : " of tag " + std::to_string(bad) + ", which names no element")),
      tag(bad) {}

Database::~Database() {
    for (std::atomic<Slot*>& chunk : m_chunks) {
        Slot* const slots = chunk.load(std::memory_order_acquire);
        if (slots == nullptr) continue;
        for (std::size_t i = 0; i < kChunkSize; ++i) {
            void* const address = slots[i].address.load(std::memory_order_acquire);
            if (address != nullptr && slots[i].destroy != nullptr) slots[i].destroy(address);
        }
        delete[] slots;
    }
}

Database::Slot& Database::existing(miTag tag, const char* operation) const {
    Slot* const s = slot(tag);
    if (s == nullptr || s->address.load(std::memory_order_acquire) == nullptr)
        throw BadTag(tag, operation);
    return *s;
}

miTag Database::create(miScene_types type, std::size_t bytes) {
    return adopt(type, new_block(bytes), bytes, delete_block);
}

miTag Database::create_string(std::string_view text) {
    return adopt(miSCENE_STRING, new_text(text), text.size() + 1, delete_block);
}

miTag Database::create_tags(const std::vector<miTag>& tags) {
    return adopt(miSCENE_TAGS, new_tags(tags), tags.size() * sizeof(miTag), delete_block);
}

miTag Database::adopt(miScene_types type, void* address, std::size_t bytes, Destroy destroy) {
    const std::lock_guard lock(m_mutex);
    const miTag tag = m_last + 1;
    const std::size_t chunk = tag >> kChunkBits;
    if (chunk >= kChunkCount) {
        if (destroy != nullptr) destroy(address);
        throw std::length_error("the scene database is full");
    }
    if (m_chunks[chunk].load(std::memory_order_relaxed) == nullptr)
        m_chunks[chunk].store(new Slot[kChunkSize], std::memory_order_release);
    m_last = tag;
    Slot& s = *slot(tag);
    s.destroy = destroy;
    s.type.store(type, std::memory_order_relaxed);
    s.bytes.store(bytes, std::memory_order_relaxed);
    s.address.store(address, std::memory_order_release);
    return tag;
}

void Database::replace(miTag tag, miScene_types type, void* address, std::size_t bytes,
                       Destroy destroy) {
    const std::lock_guard lock(m_mutex);
    Slot* s = nullptr;
    try {
        s = &existing(tag, "replacement");
    } catch (...) {
        if (destroy != nullptr) destroy(address);
        throw;
    }
    void* const old = s->address.load(std::memory_order_relaxed);
    const Destroy destroy_old = s->destroy;
    s->destroy = destroy;
    s->type.store(type, std::memory_order_relaxed);
    s->bytes.store(bytes, std::memory_order_relaxed);
    s->address.store(address, std::memory_order_release);
    if (old != address && destroy_old != nullptr) destroy_old(old);
}

void* Database::replace(miTag tag, miScene_types type, std::size_t bytes) {
    void* const block = new_block(bytes);
    replace(tag, type, block, bytes, delete_block);
    return block;
}

void Database::replace_tags(miTag tag, const std::vector<miTag>& tags) {
    replace(tag, miSCENE_TAGS, new_tags(tags), tags.size() * sizeof(miTag), delete_block);
}

void Database::remove(miTag tag) {
    const std::lock_guard lock(m_mutex);
    Slot& s = existing(tag, "removal");
    void* const old = s.address.exchange(nullptr, std::memory_order_acq_rel);
    s.type.store(0, std::memory_order_relaxed);
    s.bytes.store(0, std::memory_order_relaxed);
    s.pins.store(0, std::memory_order_relaxed);
    if (s.destroy != nullptr) s.destroy(old);
    s.destroy = nullptr;
    m_names.erase(tag);
}

std::size_t Database::size(miTag tag) const noexcept {
    const Slot* const s = slot(tag);
    if (s == nullptr || s->address.load(std::memory_order_acquire) == nullptr) return 0;
    return s->bytes.load(std::memory_order_relaxed);
}

std::string_view Database::text(miTag tag) const noexcept {
    if (type(tag) != miSCENE_STRING) return {};
    return {static_cast<const char*>(find(tag)), size(tag) - 1};
}

void* Database::access(miTag tag, bool* over_limit) {
    Slot& s = existing(tag, "access");
    const std::uint32_t before = s.pins.fetch_add(1, std::memory_order_relaxed);
    if (over_limit != nullptr) *over_limit = before == kMaxPins;
    return s.address.load(std::memory_order_acquire);
}

std::uint32_t Database::unpin(miTag tag, std::uint32_t times) {
    Slot& s = existing(tag, "unpinning");
    std::uint32_t count = s.pins.load(std::memory_order_relaxed);
    std::uint32_t released = 0;
    do {
        released = std::min(count, times);
    } while (!s.pins.compare_exchange_weak(count, count - released, std::memory_order_release,
                                           std::memory_order_relaxed));
    return released;
}

std::vector<LeftOverPin> Database::left_over_pins(bool clear) {
    const std::lock_guard lock(m_mutex);
    std::vector<LeftOverPin> found;
    for (miTag tag = 1; tag <= m_last; ++tag) {
        Slot& s = *slot(tag);
        const std::uint32_t count = clear ? s.pins.exchange(0, std::memory_order_relaxed)
                                          : s.pins.load(std::memory_order_relaxed);
        if (count == 0) continue;
        const auto named = m_names.find(tag);
        found.push_back({tag, static_cast<miScene_types>(s.type.load(std::memory_order_relaxed)),
                         count, named == m_names.end() ? std::string() : named->second});
    }
    return found;
}

void Database::set_name(miTag tag, std::string name) {
    const std::lock_guard lock(m_mutex);
    m_names[tag] = std::move(name);
}

std::string Database::name(miTag tag) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_names.find(tag);
    return found == m_names.end() ? std::string() : found->second;
}

void Database::for_each(miScene_types type, const std::function<void(miTag, void*)>& visit) const {
    miTag last = 0;
    {
        const std::lock_guard lock(m_mutex);
        last = m_last;
    }
    for (miTag tag = 1; tag <= last; ++tag)
        if (void* const address = find<void>(tag, type)) visit(tag, address);
}

} // namespace vx::db
