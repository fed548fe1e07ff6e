// The baked point record and the growable array that holds one eye sample's points.
#ifndef VX_POINTS_POINT_ARRAY_H
#define VX_POINTS_POINT_ARRAY_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

// One baked surface sample.
class CPoint {
  public:
    float positionX, positionY, positionZ;
    float normalX, normalY, normalZ;
    float red, green, blue;
    float opacity;
    std::int32_t tag;
};
static_assert(sizeof(CPoint) == 44 && alignof(CPoint) == 4);
static_assert(offsetof(CPoint, normalX) == 12 && offsetof(CPoint, red) == 24);
static_assert(offsetof(CPoint, opacity) == 36 && offsetof(CPoint, tag) == 40);
static_assert(std::is_trivial_v<CPoint> && std::is_standard_layout_v<CPoint>);

class CPointPool;

// A growable array of points that costs one pointer while it is empty: a bake has tens of millions
// of them and most stay empty or short. Length and capacity stand in front of the points. Its block
// comes from the heap, and then it is the list's, or from a pool, and then it is the pool's.
class CPointList {
  public:
    CPointList() : mBlock(nullptr) {}
    CPointList(const CPointList& other);
    CPointList& operator=(const CPointList& other);
    ~CPointList();

    std::int32_t size() const { return mBlock == nullptr ? 0 : mBlock->size; }
    bool empty() const { return size() == 0; }
    const CPoint* begin() const { return mBlock == nullptr ? nullptr : mBlock->Points(); }
    const CPoint* end() const { return begin() + size(); }
    CPoint* begin() { return mBlock == nullptr ? nullptr : mBlock->Points(); }
    CPoint* end() { return begin() + size(); }
    const CPoint& operator[](std::int32_t i) const { return begin()[i]; }
    CPoint& operator[](std::int32_t i) { return begin()[i]; }

    // Appends with memory from the heap. Throws std::bad_alloc.
    void push_back(const CPoint& point);

  private:
    friend class CPointPool;

    class CBlock {
      public:
        CPoint* Points() { return reinterpret_cast<CPoint*>(this + 1); }
        std::int32_t size;
        std::int32_t capacity; // below 0: of a pool
    };
    static_assert(sizeof(CBlock) == 8 && alignof(CBlock) <= alignof(std::max_align_t));

    static CBlock* NewBlock(std::int32_t capacity);
    static std::int32_t Grown(std::int32_t capacity); // of a capacity above 0
    void Release();

    CBlock* mBlock;
};

// The points of one eye sample, in the order in which they were appended.
class CPointArray {
  public:
    CPointArray() = default;
    // As many points, every record copied field by field, in memory of its own. There is no moving:
    // memory that belongs to a grid's pool must not leave the grid.
    CPointArray(const CPointArray& other) = default;
    CPointArray& operator=(const CPointArray& other) = default;

    CPointList points;
};
static_assert(sizeof(CPointArray) == sizeof(void*));

#endif
