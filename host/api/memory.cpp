// mi_mem_*: memory for shaders.
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/shading/context.h"

namespace {

// Precedes every block. Reallocation needs the size in order to zero the added bytes; the mark
// detects blocks of other allocators before they are passed to free.
struct alignas(16) Header {
    std::size_t bytes;
    std::size_t mark;
};
constexpr std::size_t kMarkInUse = 0x6d696d656d6f7279;

Header* header_of(void* memory) {
    return static_cast<Header*>(memory) - 1;
}

void check(void* memory, const char* operation) {
    if (header_of(memory)->mark != kMarkInUse)
        vx::shading::Context::current().abort_render(
            std::string(operation) + " of memory not allocated with mi_mem_allocate");
}

[[noreturn]] void out_of_memory(int size) {
    vx::shading::Context::current().abort_render("cannot allocate " + std::to_string(size) +
                                                 " bytes");
}

} // namespace

void* mi_mem_test_allocate(const int size) {
    if (size < 0) return nullptr;
    const auto bytes = static_cast<std::size_t>(size);
    auto* const header = static_cast<Header*>(std::calloc(1, sizeof(Header) + bytes));
    if (header == nullptr) return nullptr;
    header->bytes = bytes;
    header->mark = kMarkInUse;
    return header + 1;
}

void* mi_mem_allocate(const int size) {
    void* const memory = mi_mem_test_allocate(size);
    if (memory == nullptr) out_of_memory(size);
    return memory;
}

void* mi_mem_reallocate(void* const mem, const int size) {
    if (mem == nullptr) return mi_mem_allocate(size);
    check(mem, "reallocation");
    if (size == 0) {
        mi_mem_release(mem);
        return nullptr;
    }
    if (size < 0) out_of_memory(size);
    const auto bytes = static_cast<std::size_t>(size);
    const std::size_t before = header_of(mem)->bytes;
    auto* const header = static_cast<Header*>(std::realloc(header_of(mem), sizeof(Header) + bytes));
    if (header == nullptr) out_of_memory(size);
    header->bytes = bytes;
    if (bytes > before)
        std::memset(reinterpret_cast<char*>(header + 1) + before, 0, bytes - before);
    return header + 1;
}

void mi_mem_release(void* mem) {
    if (mem == nullptr) return;
    check(mem, "release");
    header_of(mem)->mark = 0;
    std::free(header_of(mem));
}

char* mi_mem_int_strdup(const char* /*file*/, int /*line*/, const char* text) {
    if (text == nullptr) return nullptr;
    const std::size_t bytes = std::strlen(text) + 1;
    auto* const copy = static_cast<char*>(mi_mem_allocate(static_cast<int>(bytes)));
    std::memcpy(copy, text, bytes);
    return copy;
}
