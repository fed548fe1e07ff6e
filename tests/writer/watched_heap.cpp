#include "tests/writer/watched_heap.h"

#include "tests/renderer_stub/renderer_stub.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names for what it wraps
extern "C" {
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
}

namespace {

struct Watched {
    std::atomic<const void*> block;
    const char* name;
};

std::array<Watched, 16> g_watched = {};
std::atomic<std::size_t> g_limit = SIZE_MAX;
std::atomic<long> g_held = 0;

void note_end_of(const void* block, const char* how) {
    if (block == nullptr) return;
    for (Watched& watched : g_watched) {
        if (watched.block.load() != block) continue;
        watched.block = nullptr;
        vx::stub::Renderer::current().note(std::string(how) + '(' + watched.name + ')');
    }
}

void* take(std::size_t bytes) {
    if (bytes > g_limit) throw std::bad_alloc();
    void* const block = std::malloc(std::max<std::size_t>(bytes, 1));
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void give_back(void* block) {
    note_end_of(block, "delete");
    __real_free(block);
}

} // namespace

void* operator new(std::size_t bytes) {
    return take(bytes);
}
void* operator new[](std::size_t bytes) {
    return take(bytes);
}
// Those of a sanitizer would not match these operators delete.
void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(std::max<std::size_t>(bytes, 1));
}
void* operator new[](std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(std::max<std::size_t>(bytes, 1));
}
void operator delete(void* block) noexcept {
    give_back(block);
}
void operator delete[](void* block) noexcept {
    give_back(block);
}
void operator delete(void* block, std::size_t) noexcept {
    give_back(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    give_back(block);
}

extern "C" {
// The linker redirects calls of calloc, realloc and free to these functions.
void* __wrap_calloc(std::size_t count, std::size_t size) {
    ++g_held;
    return __real_calloc(count, size);
}
void* __wrap_realloc(void* block, std::size_t size) {
    if (block == nullptr) ++g_held;
    return __real_realloc(block, size);
}
void __wrap_free(void* block) {
    note_end_of(block, "free");
    if (block != nullptr) --g_held;
    __real_free(block);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace vx::test {

WatchedBlock::WatchedBlock(const void* block, const char* name) : m_place(0) {
    while (g_watched.at(m_place).name != nullptr)
        ++m_place;
    g_watched[m_place].name = name;
    g_watched[m_place].block = block;
}

WatchedBlock::~WatchedBlock() {
    g_watched[m_place].block = nullptr;
    g_watched[m_place].name = nullptr;
}

LimitedNew::LimitedNew(std::size_t bytes) {
    g_limit = bytes;
}
LimitedNew::~LimitedNew() {
    g_limit = SIZE_MAX;
}

long blocks_held() {
    return g_held;
}

} // namespace vx::test
