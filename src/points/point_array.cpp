#include "src/points/point_array.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

CPointList::CBlock* CPointList::NewBlock(std::int32_t capacity) {
    void* const memory =
        ::operator new(sizeof(CBlock) + static_cast<std::size_t>(capacity) * sizeof(CPoint));
    return new (memory) CBlock{0, capacity};
}

std::int32_t CPointList::Grown(std::int32_t capacity) {
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    if (capacity == most) throw std::bad_alloc();
    return capacity > most / 2 ? most : 2 * capacity;
}

CPointList::CPointList(const CPointList& other) : mBlock(nullptr) {
    if (other.empty()) return;
    mBlock = NewBlock(other.size());
    for (const CPoint& point : other)
        mBlock->Points()[mBlock->size++] = point;
}

CPointList& CPointList::operator=(const CPointList& other) {
    CPointList copy(other);
    std::swap(mBlock, copy.mBlock);
    return *this;
}

CPointList::~CPointList() {
    Release();
}

void CPointList::Release() {
    if (mBlock != nullptr && mBlock->capacity >= 0) ::operator delete(mBlock);
    mBlock = nullptr;
}

void CPointList::push_back(const CPoint& point) {
    const CPoint added = point; // it may be one of this list's own
    if (mBlock == nullptr) {
        mBlock = NewBlock(1);
    } else if (mBlock->size == std::abs(mBlock->capacity)) {
        const std::int32_t length = mBlock->size;
        CBlock* const larger = NewBlock(Grown(length));
        std::memcpy(larger->Points(), mBlock->Points(),
                    static_cast<std::size_t>(length) * sizeof(CPoint));
        larger->size = length;
        Release();
        mBlock = larger;
    }
    mBlock->Points()[mBlock->size++] = added;
}
