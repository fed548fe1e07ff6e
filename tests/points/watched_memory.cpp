#include "tests/points/watched_memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::size_t g_requests = 0;
std::size_t g_largest = 0;
std::size_t g_held = 0;
std::size_t g_peak = 0;
std::size_t g_limit = SIZE_MAX;

// The size of a block stands in front of it, in as many bytes as keep the alignment.
constexpr std::size_t kFront = alignof(std::max_align_t);

void* take(std::size_t bytes) {
    if (bytes > g_limit) throw std::bad_alloc();
    void* const block = std::malloc(bytes + kFront);
    if (block == nullptr) throw std::bad_alloc();
    *static_cast<std::size_t*>(block) = bytes;
    ++g_requests;
    g_largest = std::max(g_largest, bytes);
    g_held += bytes;
    g_peak = std::max(g_peak, g_held);
    return static_cast<char*>(block) + kFront;
}

void give_back(void* memory) {
    if (memory == nullptr) return;
    void* const block = static_cast<char*>(memory) - kFront;
    g_held -= *static_cast<std::size_t*>(block);
    std::free(block);
}

} // namespace

void* operator new(std::size_t bytes) {
    return take(bytes);
}
void* operator new[](std::size_t bytes) {
    return take(bytes);
}
void operator delete(void* p) noexcept {
    give_back(p);
}
void operator delete[](void* p) noexcept {
    give_back(p);
}
void operator delete(void* p, std::size_t) noexcept {
    give_back(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    give_back(p);
}

namespace watched_memory {

void reset() {
    g_requests = 0;
    g_largest = 0;
    g_peak = g_held;
    g_limit = SIZE_MAX;
}

void refuse_above(std::size_t bytes) {
    g_limit = bytes;
}

std::size_t requests() {
    return g_requests;
}

std::size_t largest_request() {
    return g_largest;
}

std::size_t held() {
    return g_held;
}

std::size_t peak_held() {
    return g_peak;
}

} // namespace watched_memory
