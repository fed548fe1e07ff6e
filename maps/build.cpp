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
        // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): a span has at least the rows of a leaf
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

template <std::uint64_t ElementsEach, class Each>
void for_each_block(std::uint64_t count, const Each& each) {
    if (count * ElementsEach < kParallelFrom) {
        for (std::uint64_t i = 0; i < count; ++i)
            each(i);
        return;
    }
    constexpr std::uint64_t kGrain = std::max<std::uint64_t>(1, 4096 / ElementsEach);
    tbb::parallel_for(tbb::blocked_range<std::uint64_t>(0, count, kGrain),
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
        for_each_block<kLeafSize * kFanOut>(shape.size[level], [&](std::uint64_t j) {
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

// The steps of BodyBuilder for one dimension.
template <unsigned D>
struct Steps {
    static void set_positions(unsigned char* memory, std::uint64_t first, std::uint64_t count,
                              const unsigned char* positions, std::size_t stride) {
        Key<D>* const keys = reinterpret_cast<Key<D>*>(memory) + first;
        for (std::uint64_t i = 0; i < count; ++i) {
            std::memcpy(keys[i].p, positions + i * stride, sizeof keys[i].p);
            keys[i].index = static_cast<std::uint32_t>(first + i);
        }
    }

    static void sort(unsigned char* memory, Axes axes, const Shape& shape, const Sections& sections,
                     unsigned char* base) {
        const std::uint64_t count = shape.count;
        auto* const keys = reinterpret_cast<Key<D>*>(memory);
        Sorter<D>(axes).sort(keys, keys + count, shape.top, extent_of(keys, keys + count));
        auto* const positions = reinterpret_cast<float*>(base + sections.positions);
        auto* const order = reinterpret_cast<std::uint32_t*>(base + sections.order);
        auto* const rank = reinterpret_cast<std::uint32_t*>(base + sections.rank);
        for_each_block<kLeafSize>(shape.leaves(), [&](std::uint64_t leaf) {
            float* const block = positions + leaf * leaf_floats(D);
            const std::uint64_t first = leaf * kLeafSize;
            for (unsigned i = 0; i < shape.leaf_count(leaf); ++i) {
                const Key<D>& key = keys[first + i];
                for (unsigned a = 0; a < D; ++a)
                    block[a * kLeafSize + i] = key.p[a];
                order[first + i] = key.index;
                rank[key.index] = static_cast<std::uint32_t>(first + i);
            }
        });
        bound_all<D>(shape, positions, reinterpret_cast<float*>(base + sections.nodes));
    }
};

using SetPositions = void (*)(unsigned char*, std::uint64_t, std::uint64_t, const unsigned char*,
                              std::size_t);
using Sort = void (*)(unsigned char*, Axes, const Shape&, const Sections&, unsigned char*);
constexpr SetPositions kSetPositions[kMaxDimension] = {
    Steps<1>::set_positions, Steps<2>::set_positions, Steps<3>::set_positions,
    Steps<4>::set_positions, Steps<5>::set_positions, Steps<6>::set_positions};
constexpr Sort kSorts[kMaxDimension] = {Steps<1>::sort, Steps<2>::sort, Steps<3>::sort,
                                        Steps<4>::sort, Steps<5>::sort, Steps<6>::sort};

std::size_t key_bytes(unsigned dimension) {
    return dimension * sizeof(float) + sizeof(std::uint32_t);
}

// Distance, in elements, at which rows are fetched into the cache before they are written.
constexpr std::uint64_t kLookAhead = 24;

// Writes values of Words words (0: `words`) to the rows of consecutive elements.
template <std::uint64_t Words>
void scatter(const std::uint32_t* rank, std::uint64_t count, const unsigned char* values,
             std::size_t stride, std::uint32_t* column, std::uint64_t words) {
    const std::uint64_t each = Words > 0 ? Words : words;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (i + kLookAhead < count) __builtin_prefetch(column + rank[i + kLookAhead] * each, 1);
        std::memcpy(column + rank[i] * each, values + i * stride, each * 4);
    }
}

} // namespace

BodyBuilder::BodyBuilder(const DeclarationPtr& declaration, std::uint64_t count)
    : m_body(std::make_shared<Body>()) {
    m_body->declaration = declaration;
    m_body->shape = shape_of(count);
    if (!lay_out(*declaration, m_body->shape, m_body->sections)) throw std::bad_alloc();
    m_memory = std::make_shared<Memory>(m_body->sections.bytes);
    m_keys.emplace(count * key_bytes(declaration->dimension));
    m_body->base = m_memory->data();
    m_body->owner = m_memory;
}

void BodyBuilder::set_positions(std::uint64_t first, std::uint64_t count, const void* positions,
                                std::size_t stride) {
    kSetPositions[m_body->declaration->dimension - 1](
        m_keys->data(), first, count, static_cast<const unsigned char*>(positions), stride);
}

void BodyBuilder::sort(float quality) {
    const Axes axes = !(quality >= 0.3f)    ? Axes::from_cell
                      : !(quality >= 0.85f) ? Axes::from_extent
                                            : Axes::try_all;
    if (m_body->shape.count > 0) {
        kSorts[m_body->declaration->dimension - 1](m_keys->data(), axes, m_body->shape,
                                                   m_body->sections, m_memory->data());
    }
    m_keys.reset();
}

void BodyBuilder::set_values(std::size_t field, std::uint64_t first, std::uint64_t count,
                             const void* values, std::size_t stride) {
    auto* const column =
        reinterpret_cast<std::uint32_t*>(m_memory->data() + m_body->sections.columns[field]);
    const std::uint32_t* const rank = m_body->rank() + first;
    const auto* const from = static_cast<const unsigned char*>(values);
    const std::uint64_t words = m_body->declaration->fields[field].words;
    switch (words) {
    case 1:
        return scatter<1>(rank, count, from, stride, column, words);
    case 3:
        return scatter<3>(rank, count, from, stride, column, words);
    case 4:
        return scatter<4>(rank, count, from, stride, column, words);
    default:
        return scatter<0>(rank, count, from, stride, column, words);
    }
}

void BodyBuilder::gather(const Records& records) {
    const Body& body = *m_body;
    const std::uint32_t* const order = body.order();
    for_each_block<kLeafSize>(body.shape.leaves(), [&](std::uint64_t leaf) {
        const std::uint64_t first = leaf * kLeafSize;
        for (std::uint64_t row = first; row < first + body.shape.leaf_count(leaf); ++row) {
            const std::uint32_t* const record = records[order[row]];
            for (std::size_t f = 0; f < body.declaration->fields.size(); ++f) {
                const Field& field = body.declaration->fields[f];
                if (field.is_global) continue;
                auto* const column =
                    reinterpret_cast<std::uint32_t*>(m_memory->data() + body.sections.columns[f]);
                copy_words(record + field.offset, field.words, column + row * field.words);
            }
        }
    });
}

BodyPtr build_body(const DeclarationPtr& declaration, const Records& records, float quality) {
    const std::uint64_t count = records.count();
    BodyBuilder builder(declaration, count);
    constexpr std::uint64_t kBlock = 4096;
    for_each_block<kBlock>((count + kBlock - 1) / kBlock, [&](std::uint64_t block) {
        const std::uint64_t end = std::min(count, (block + 1) * kBlock);
        std::uint64_t run = 0;
        for (std::uint64_t i = block * kBlock; i < end; i += run) {
            run = std::min(records.run(i), end - i);
            builder.set_positions(i, run, records[i], records.words() * 4);
        }
    });
    builder.sort(quality);
    builder.gather(records);
    return builder.body();
}

} // namespace vx::maps
