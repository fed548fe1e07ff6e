#include "src/points/point_pool.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// Of this size the heap takes whole pages from the system and gives them back; untouched ones cost
// nothing.
constexpr std::size_t kChunkBytes = std::size_t{1} << 20;

} // namespace

CPointPool::CPointPool() : mFree(nullptr), mEnd(nullptr) {}

CPointList::CBlock* CPointPool::Take(std::int32_t capacity) {
    const std::size_t bytes =
        sizeof(CPointList::CBlock) + static_cast<std::size_t>(capacity) * sizeof(CPoint);
    if (static_cast<std::size_t>(mEnd - mFree) < bytes) {
        const std::size_t size = std::max(bytes, kChunkBytes);
        std::unique_ptr<std::byte[]> chunk(new std::byte[size]);
        std::byte* const start = chunk.get();
        mChunks.push_back(std::move(chunk));
        mFree = start;
        mEnd = start + size;
    }
    auto* const block = new (mFree) CPointList::CBlock{0, -capacity};
    mFree += bytes;
    return block;
}

void CPointPool::Append(CPointList& list, const CPoint& point) {
    const CPoint added = point; // it may be one of this list's own
    CPointList::CBlock* block = list.mBlock;
    if (block == nullptr) {
        block = list.mBlock = Take(1);
    } else if (block->capacity >= 0) {
        list.push_back(added);
        return;
    } else if (block->size == -block->capacity) {
        auto* const end = reinterpret_cast<std::byte*>(block->Points() + block->size);
        if (end == mFree && static_cast<std::size_t>(mEnd - mFree) >= sizeof(CPoint)) {
            --block->capacity;
            mFree += sizeof(CPoint);
        } else {
            CPointList::CBlock* const larger = Take(CPointList::Grown(block->size));
            std::memcpy(larger->Points(), block->Points(),
                        static_cast<std::size_t>(block->size) * sizeof(CPoint));
            larger->size = block->size;
            block = list.mBlock = larger;
        }
    }
    block->Points()[block->size++] = added;
}
