#include "maps/build.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_invoke.h>

namespace vx::maps {

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
// With fewer elements a second thread costs more time than it saves.
constexpr std::uint64_t kParallelFrom = 32768;

template <unsigned D>
struct Key {
    float p[D];
    std::uint32_t index;
};

template <unsigned D>
struct Box {
    float min[D], max[D];
};

enum class Axes { from_cell, from_extent, try_all };

template <unsigned D>
Box<D> extent_of(const Key<D>* begin, const Key<D>* end) {
    Box<D> box;
    std::fill_n(box.min, D, kInfinity);
    std::fill_n(box.max, D, -kInfinity);
    for (const Key<D>* key = begin; key != end; ++key) {
        for (unsigned a = 0; a < D; ++a) {
            box.min[a] = key->p[a] < box.min[a] ? key->p[a] : box.min[a];
            box.max[a] = key->p[a] > box.max[a] ? key->p[a] : box.max[a];
        }
    }
    return box;
}

template <unsigned D>
unsigned widest(const Box<D>& box) {
    unsigned best = 0;
    float width = -1.0f;
    for (unsigned a = 0; a < D; ++a) {
        const float w = box.max[a] - box.min[a];
        if (w > width) {
            width = w;
            best = a;
        }
    }
    return best;
}

// Moves the keys that are below (not_above: not above) the pivot to the front and returns their
// end. Does not branch on the comparison.
template <bool not_above, unsigned D>
Key<D>* part(Key<D>* begin, Key<D>* end, unsigned axis, float pivot) {
    Key<D>* store = begin;
    for (Key<D>* key = begin; key != end; ++key) {
        const Key<D> current = *key;
        const bool front = not_above ? !(current.p[axis] > pivot) : current.p[axis] < pivot;
        *key = *store;
        *store = current;
        store += front;
    }
    return store;
}

// Sorts coordinates that are not a number last.
inline float rank_value(float x) {
    return x != x ? kInfinity : x;
}

// A value near the wanted rank, slightly to the side that lets a split discard more keys.
template <unsigned D>
float pick_pivot(const Key<D>* begin, std::size_t count, std::size_t wanted, unsigned axis) {
    constexpr std::size_t kMaxSample = 128;
    float sample[kMaxSample];
    const std::size_t size = count > 4096 ? kMaxSample : count > 512 ? 32 : 9;
    for (std::size_t i = 0; i < size; ++i) {
        sample[i] = rank_value(begin[(i * count + count / 2) / size].p[axis]);
    }
    const double q = static_cast<double>(wanted) / static_cast<double>(count);
    const double spread = 1.5 * std::sqrt(q * (1.0 - q) * static_cast<double>(size));
    const double aim = q * static_cast<double>(size) + (q <= 0.5 ? spread : -spread);
    const auto place =
        static_cast<std::size_t>(std::clamp(aim, 0.0, static_cast<double>(size - 1)));
    std::nth_element(sample, sample + place, sample + size);
    return sample[place];
}

// Afterwards the `wanted` smallest keys along the axis come first.
template <unsigned D>
void split(Key<D>* begin, Key<D>* end, std::size_t wanted, unsigned axis) {
    Key<D>* const middle = begin + wanted;
    constexpr std::ptrdiff_t kSmall = 24;
    while (end - begin > kSmall) {
        const float pivot = pick_pivot(begin, static_cast<std::size_t>(end - begin),
                                       static_cast<std::size_t>(middle - begin), axis);
        Key<D>* const border = part<false>(begin, end, axis, pivot);
        if (middle < border) {
            end = border;
        } else if (border != begin) {
            begin = border;
        } else {
            // The pivot is the smallest value: split off all keys that are equal to it.
            begin = part<true>(begin, end, axis, pivot);
            if (middle < begin) return;
        }
        if (begin == middle || end == middle) return;
    }
    std::sort(begin, end, [axis](const Key<D>& a, const Key<D>& b) {
        return rank_value(a.p[axis]) < rank_value(b.p[axis]);
    });
}

template <unsigned D>
class Sorter {
  public:
    explicit Sorter(Axes axes) : m_axes(axes) {}

    // Sorts the keys of a node of a level, or of some of its children.
    void sort(Key<D>* begin, Key<D>* end, unsigned level, Box<D> cell) const {
        const auto count = static_cast<std::uint64_t>(end - begin);
        while (level > 0 && count <= Shape::span(level - 1))
            --level;
        if (level == 0) return;
        const std::uint64_t unit = Shape::span(level - 1);
        const std::uint64_t children = (count + unit - 1) / unit;
        const auto wanted = static_cast<std::size_t>(children / 2 * unit);
        if (m_axes == Axes::from_extent) cell = extent_of(begin, end);
        const unsigned axis =
            m_axes == Axes::try_all ? best_axis(begin, end, wanted) : widest(cell);
        split(begin, end, wanted, axis);
        Key<D>* const middle = begin + wanted;
        Box<D> left = cell;
        Box<D> right = cell;
        if (m_axes == Axes::from_cell) {
            left.max[axis] = right.min[axis] = rank_value(middle->p[axis]);
        }
        if (count >= kParallelFrom) {
            tbb::parallel_invoke([&] { sort(begin, middle, level, left); },
                                 [&] { sort(middle, end, level, right); });
        } else {
            sort(begin, middle, level, left);
            sort(middle, end, level, right);
        }
    }

  private:
    // The axis for which the surfaces of the two halves have the smallest sum.
    static unsigned best_axis(Key<D>* begin, Key<D>* end, std::size_t wanted) {
        unsigned best = 0;
        double least = std::numeric_limits<double>::infinity();
        for (unsigned axis = 0; axis < D; ++axis) {
            split(begin, end, wanted, axis);
            const double cost =
                surface(extent_of(begin, begin + wanted)) + surface(extent_of(begin + wanted, end));
            if (cost < least) {
                least = cost;
                best = axis;
            }
        }
        return best;
    }
    // Sum over pairs of axes of the product of widths, a measure of how often searches enter a box.
    static double surface(const Box<D>& box) {
        double sum = 0.0;
        double all = 0.0;
        for (unsigned a = 0; a < D; ++a) {
            const double width = static_cast<double>(box.max[a]) - static_cast<double>(box.min[a]);
            sum += all * width;
            all += width;
        }
        return D > 1 ? sum : all;
    }

    Axes m_axes;
};

template <class Each>
void for_each_block(std::uint64_t count, std::uint64_t elements_each, const Each& each) {
    if (count * elements_each < kParallelFrom) {
        for (std::uint64_t i = 0; i < count; ++i)
            each(i);
        return;
    }
    const std::uint64_t grain = std::max<std::uint64_t>(1, 4096 / elements_each);
    tbb::parallel_for(tbb::blocked_range<std::uint64_t>(0, count, grain),
                      [&](const tbb::blocked_range<std::uint64_t>& range) {
                          for (std::uint64_t i = range.begin(); i != range.end(); ++i)
                              each(i);
                      });
}

// Stores the box of a leaf as that of a child of a node.
template <unsigned D>
void bound_leaf(const float* leaf, unsigned count, float* node, unsigned child) {
    for (unsigned a = 0; a < D; ++a) {
        float least = kInfinity;
        float most = -kInfinity;
        bool all_numbers = true;
        for (unsigned i = 0; i < count; ++i) {
            const float x = leaf[a * kLeafSize + i];
            least = x < least ? x : least;
            most = x > most ? x : most;
            all_numbers = all_numbers && x == x;
        }
        node[a * 2 * kFanOut + child] = all_numbers ? least : -kInfinity;
        node[a * 2 * kFanOut + kFanOut + child] = all_numbers ? most : kInfinity;
    }
}

template <unsigned D>
void bound_node(const float* below, unsigned count, float* node, unsigned child) {
    for (unsigned a = 0; a < D; ++a) {
        const float* const min = below + a * 2 * kFanOut;
        const float* const max = min + kFanOut;
        node[a * 2 * kFanOut + child] = *std::min_element(min, min + count);
        node[a * 2 * kFanOut + kFanOut + child] = *std::max_element(max, max + count);
    }
}

template <unsigned D>
void bound_all(const Shape& shape, const float* positions, float* nodes) {
    for (unsigned level = 1; level <= shape.top; ++level) {
        for_each_block(shape.size[level], Shape::span(1), [&](std::uint64_t j) {
            float* const node = nodes + (shape.first[level] + j) * node_floats(D);
            for (unsigned c = 0; c < shape.child_count(level, j); ++c) {
                const std::uint64_t child = j * kFanOut + c;
                if (level == 1) {
                    bound_leaf<D>(positions + child * leaf_floats(D), shape.leaf_count(child), node,
                                  c);
                } else {
                    bound_node<D>(nodes + (shape.first[level - 1] + child) * node_floats(D),
                                  shape.child_count(level - 1, child), node, c);
                }
            }
        });
    }
}

// Most fields are a number or a vector; a call of memcpy() would cost more than copying these.
inline void copy_words(const std::uint32_t* from, std::uint64_t words, std::uint32_t* to) {
    switch (words) {
    case 1:
        std::memcpy(to, from, 4);
        break;
    case 3:
        std::memcpy(to, from, 12);
        break;
    case 4:
        std::memcpy(to, from, 16);
        break;
    default:
        std::memcpy(to, from, words * 4);
    }
}

template <unsigned D>
void fill(const Declaration& declaration, const Records& records, Axes axes, const Shape& shape,
          const Sections& sections, unsigned char* base) {
    const std::uint64_t count = shape.count;
    Memory memory(count * sizeof(Key<D>));
    auto* const keys = reinterpret_cast<Key<D>*>(memory.data());
    for_each_block((count + 4095) / 4096, 4096, [&](std::uint64_t block) {
        for (std::uint64_t i = block * 4096; i < std::min(count, (block + 1) * 4096); ++i) {
            std::memcpy(keys[i].p, records[i], sizeof keys[i].p);
            keys[i].index = static_cast<std::uint32_t>(i);
        }
    });
    Sorter<D>(axes).sort(keys, keys + count, shape.top, extent_of(keys, keys + count));

    auto* const positions = reinterpret_cast<float*>(base + sections.positions);
    auto* const order = reinterpret_cast<std::uint32_t*>(base + sections.order);
    auto* const rank = reinterpret_cast<std::uint32_t*>(base + sections.rank);
    for_each_block(shape.leaves(), kLeafSize, [&](std::uint64_t leaf) {
        float* const block = positions + leaf * leaf_floats(D);
        const std::uint64_t first = leaf * kLeafSize;
        const unsigned here = shape.leaf_count(leaf);
        for (unsigned i = 0; i < here; ++i) {
            const Key<D>& key = keys[first + i];
            for (unsigned a = 0; a < D; ++a)
                block[a * kLeafSize + i] = key.p[a];
            order[first + i] = key.index;
            rank[key.index] = static_cast<std::uint32_t>(first + i);
        }
        for (unsigned i = 0; i < here; ++i) {
            const std::uint32_t* const record = records[keys[first + i].index];
            for (std::size_t f = 0; f < declaration.fields.size(); ++f) {
                const Field& field = declaration.fields[f];
                if (field.is_global) continue;
                auto* const column = reinterpret_cast<std::uint32_t*>(base + sections.columns[f]);
                copy_words(record + field.offset, field.words, column + (first + i) * field.words);
            }
        }
    });
    bound_all<D>(shape, positions, reinterpret_cast<float*>(base + sections.nodes));
}

} // namespace

BodyPtr build_body(const DeclarationPtr& declaration, const Records& records, float quality) {
    const auto body = std::make_shared<Body>();
    body->declaration = declaration;
    body->shape = shape_of(records.count());
    if (!lay_out(*declaration, body->shape, body->sections)) throw std::bad_alloc();
    const auto memory = std::make_shared<Memory>(body->sections.bytes);
    const Axes axes = !(quality >= 0.3f)    ? Axes::from_cell
                      : !(quality >= 0.85f) ? Axes::from_extent
                                            : Axes::try_all;
    using Fill = void (*)(const Declaration&, const Records&, Axes, const Shape&, const Sections&,
                          unsigned char*);
    constexpr Fill kFills[kMaxDimension] = {fill<1>, fill<2>, fill<3>, fill<4>, fill<5>, fill<6>};
    if (records.count() > 0) {
        kFills[declaration->dimension - 1](*declaration, records, axes, body->shape, body->sections,
                                           memory->data());
    }
    body->base = memory->data();
    body->owner = memory;
    return body;
}

} // namespace vx::maps
