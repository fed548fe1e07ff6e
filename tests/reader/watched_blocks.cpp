#include "tests/reader/watched_blocks.h"

#include "tests/renderer_stub/renderer_stub.h"

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace {

struct Watched {
    const void* block = nullptr;
    const char* name = nullptr;
};
std::array<Watched, 4> watched_blocks;

void note_release(const void* block) {
    if (block == nullptr) return;
    for (Watched& watched : watched_blocks) {
        if (watched.block != block) continue;
        watched.block = nullptr;
        vx::stub::Renderer::current().note(std::string(watched.name) + " released");
    }
}

} // namespace

void vx::test::watch_block(const void* block, const char* name) {
    for (Watched& watched : watched_blocks) {
        if (watched.block != nullptr) continue;
        watched = {block, name};
        return;
    }
    throw std::logic_error("too many blocks are watched");
}

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker makes these names
void __real_free(void* block);
void __real__ZdlPv(void* block);
void __real__ZdlPvm(void* block, std::size_t size);

void __wrap_free(void* block) {
    note_release(block);
    __real_free(block);
}
void __wrap__ZdlPv(void* block) {
    note_release(block);
    __real__ZdlPv(block);
}
void __wrap__ZdlPvm(void* block, std::size_t size) {
    note_release(block);
    __real__ZdlPvm(block, size);
}
// NOLINTEND(bugprone-reserved-identifier)

} // extern "C"
