#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "host/shading/function.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#define VX_POISON(address, bytes) ASAN_POISON_MEMORY_REGION((address), (bytes))
#define VX_UNPOISON(address, bytes) ASAN_UNPOISON_MEMORY_REGION((address), (bytes))
#else
#define VX_POISON(address, bytes) static_cast<void>(0)
#define VX_UNPOISON(address, bytes) static_cast<void>(0)
#endif

namespace vx::shading {

namespace {

// Memory is committed in steps of this size; the rest of a range is only reserved.
constexpr std::size_t kCommitStep = std::size_t{1} << 20;
// Between records, so that the address sanitizer detects reads beyond a block.
constexpr std::size_t kGap = 32;

constexpr std::size_t kHeader = offsetof(miFunction, parameters);

std::size_t record_bytes(std::size_t parameter_size) {
    return (std::max(sizeof(miFunction), kHeader + parameter_size) + kGap + 15) & ~std::size_t{15};
}

} // namespace

RecordMemory::~RecordMemory() {
    for (const Chunk& chunk : m_chunks) {
        VX_UNPOISON(chunk.base, 2 * kGhostDistance);
        munmap(chunk.base, 2 * kGhostDistance);
    }
}

std::byte* RecordMemory::take(std::size_t bytes) {
    if (m_chunks.empty() || m_chunks.back().used + bytes > kGhostDistance) {
        void* const range = mmap(nullptr, 2 * kGhostDistance, PROT_NONE,
                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (range == MAP_FAILED) throw std::bad_alloc();
        m_chunks.push_back({static_cast<std::byte*>(range), 0, 0});
    }
    Chunk& chunk = m_chunks.back();
    const std::size_t end = chunk.used + bytes;
    if (end > chunk.committed) {
        const std::size_t committed =
            std::min(kGhostDistance, (end + kCommitStep - 1) / kCommitStep * kCommitStep);
        const std::size_t more = committed - chunk.committed;
        for (std::byte* const half : {chunk.base, chunk.base + kGhostDistance}) {
            if (mprotect(half + chunk.committed, more, PROT_READ | PROT_WRITE) != 0)
                throw std::bad_alloc();
            VX_POISON(half + chunk.committed, more);
        }
        chunk.committed = committed;
    }
    std::byte* const address = chunk.base + chunk.used;
    chunk.used = end;
    return address;
}

miFunction* RecordMemory::allocate(std::size_t parameter_size) {
    const std::size_t bytes = record_bytes(parameter_size);
    if (parameter_size >= kGhostDistance || bytes > kGhostDistance) return nullptr;
    const auto reused = m_free.find(bytes);
    const bool fresh = reused == m_free.end();
    std::byte* const address = fresh ? take(bytes) : reused->second;
    std::byte* const ghost = address + kHeader + kGhostDistance;
    const std::size_t record_end = std::max(sizeof(miFunction), kHeader + parameter_size);
    VX_UNPOISON(address, record_end);
    VX_UNPOISON(ghost, parameter_size);
    if (!fresh) {
        m_free.erase(reused);
        std::memset(address, 0, record_end);
        std::memset(ghost, 0, parameter_size);
    }

    auto* const record = new (address) miFunction{};
    record->parameter_size = static_cast<int>(parameter_size);
    record->ghost_offs = static_cast<int>(kGhostDistance);
    return record;
}

void RecordMemory::release(miFunction* record) {
    const std::size_t bytes = record_bytes(static_cast<std::size_t>(record->parameter_size));
    auto* const address = reinterpret_cast<std::byte*>(record);
    VX_POISON(address, bytes);
    VX_POISON(address + kGhostDistance, bytes);
    m_free.emplace(bytes, address);
}

} // namespace vx::shading
