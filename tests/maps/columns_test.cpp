// Maps as columns: rows of a map, and maps that are built from columns.
#include "tests/maps/helpers.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <thread>

namespace {

using namespace vx::maps::test;
using vx::maps::MapBuilder;
using vx::maps::rows_of;

// Element values by formula, for a field of every kind that elements can have.
struct Values {
    float position[6];
    int integer;
    float scalar;
    miVector vector;
    miColor color;
    miMatrix transform;
    int integers[2];
    float scalars[5];
};

Values values_of(std::uint32_t i, std::uint32_t count) {
    Values v{};
    std::uint32_t scrambled = i;
    for (float& x : v.position) {
        scrambled = scrambled * 2654435761u + 12345u;
        x = static_cast<float>(scrambled % count) / static_cast<float>(count);
    }
    if (i % 97 == 5) v.position[0] = std::numeric_limits<float>::quiet_NaN();
    v.integer = static_cast<int>(i) - 3;
    v.scalar = static_cast<float>(i) * 0.25f;
    v.vector = {v.scalar, -1, 2};
    v.color = {0, v.scalar, 1, -v.scalar};
    for (int k = 0; k < 16; ++k)
        v.transform[k] = v.scalar + static_cast<float>(k);
    v.integers[0] = -v.integer;
    v.integers[1] = 9;
    v.scalars[4] = v.scalar;
    return v;
}

Map_declaration every_kind(unsigned dimension) {
    Map_declaration d(dimension);
    using T = Map_field_type;
    d->append_field("i", T::Integer);
    d->append_field("s", T::Scalar);
    d->append_field("g", T::Scalar, 1, true);
    d->append_field("v", T::Vector);
    d->append_field("c", T::Color);
    d->append_field("t", T::Transform);
    d->append_field("ia", T::Integer_array, 2);
    d->append_field("sa", T::Scalar_array, 5);
    d->append_field("unset", T::Vector);
    return d;
}

std::string appended(const Folder& folder, const Map_declaration& d, std::uint32_t count) {
    Edit_map map(d);
    map->set(2u, 0.5f);
    Map_element element(d);
    for (std::uint32_t i = 0; i < count; ++i) {
        const Values v = values_of(i, count);
        element->set_position(v.position);
        element->set(0u, v.integer);
        element->set(1u, v.scalar);
        element->set(3u, v.vector);
        element->set(4u, v.color);
        element->set(5u, &v.transform);
        element->set(6u, v.integers);
        element->set(7u, v.scalars);
        map->append(element);
    }
    map->consolidate(0.6f);
    const std::string file = folder.file("appended");
    EXPECT_TRUE(map->write(file.c_str(), false).is_ok());
    return bytes_of(file);
}

std::string built(const Folder& folder, const Map_declaration& d, std::uint32_t count) {
    Edit_map map(d);
    std::vector<Values> values;
    for (std::uint32_t i = 0; i < count; ++i)
        values.push_back(values_of(i, count));
    MapBuilder builder(*map.operator->(), count);
    // Two threads, each with a part of the elements.
    const auto in_parts = [&](const auto& f) {
        const std::uint32_t middle = count / 3;
        std::thread other([&] { f(0, middle); });
        f(middle, count - middle);
        other.join();
    };
    in_parts([&](std::uint32_t first, std::uint32_t n) {
        if (n > 0) builder.set_positions(first, n, values[first].position, sizeof(Values));
    });
    builder.sort(0.6f);
    in_parts([&](std::uint32_t first, std::uint32_t n) {
        if (n == 0) return;
        const Values& v = values[first];
        builder.set_values(0, first, n, &v.integer, sizeof v);
        builder.set_values(1, first, n, &v.scalar, sizeof v);
        builder.set_values(3, first, n, &v.vector, sizeof v);
        builder.set_values(4, first, n, &v.color, sizeof v);
        builder.set_values(5, first, n, &v.transform, sizeof v);
        builder.set_values(6, first, n, v.integers, sizeof v);
        builder.set_values(7, first, n, v.scalars, sizeof v);
    });
    builder.finish();
    map->set(2u, 0.5f);
    const std::string file = folder.file("built");
    EXPECT_TRUE(map->write(file.c_str(), false).is_ok());
    return bytes_of(file);
}

TEST(Columns, ABuiltMapIsThatOfAppendedElements) {
    const Folder folder;
    for (unsigned dimension = 1; dimension <= 6; ++dimension) {
        const Map_declaration d = every_kind(dimension);
        for (const std::uint32_t count : {0u, 1u, 16u, 17u, 1000u}) {
            EXPECT_TRUE(appended(folder, d, count) == built(folder, d, count))
                << dimension << ' ' << count;
        }
    }
    // Enough for work on several threads.
    const Map_declaration d = every_kind(3);
    EXPECT_TRUE(appended(folder, d, 70000) == built(folder, d, 70000));
}

TEST(Columns, AStrideOfZeroGivesAllElementsTheSameValue) {
    Map_declaration d(2);
    d->append_field("s", Map_field_type::Scalar);
    Edit_map map(d);
    MapBuilder builder(*map.operator->(), 50);
    const float position[2] = {3, 4};
    builder.set_positions(0, 50, position, 0);
    builder.sort(0.6f);
    const float value = 7;
    builder.set_values(0, 0, 50, &value, 0);
    builder.finish();
    ASSERT_EQ(map->size(), 50u);
    Map_element element;
    for (miUint i = 0; i < 50; ++i) {
        float p[2];
        float s = 0;
        ASSERT_TRUE(map->get(i, element).is_ok());
        ASSERT_TRUE(element->get_position(p).is_ok());
        ASSERT_TRUE(element->get(0u, s).is_ok());
        EXPECT_EQ(p[0], 3);
        EXPECT_EQ(p[1], 4);
        EXPECT_EQ(s, 7);
    }
}

TEST(Columns, RowsHaveEveryElementOnce) {
    std::vector<float> points;
    for (int i = 0; i < 500; ++i) {
        points.push_back(static_cast<float>(i * 37 % 500));
        points.push_back(static_cast<float>(i * 11 % 500));
        points.push_back(static_cast<float>(i));
    }
    const auto map = map_of_points(points, 3);
    const auto rows = rows_of(*map->operator->());
    ASSERT_TRUE(rows.has_value());
    ASSERT_EQ(rows->count, 500u);
    ASSERT_EQ(rows->dimension, 3u);
    ASSERT_EQ(rows->columns.size(), 1u);
    std::vector<bool> seen(500);
    for (std::uint32_t row = 0; row < 500; ++row) {
        const std::uint32_t index = rows->order[row];
        ASSERT_LT(index, 500u);
        EXPECT_FALSE(seen[index]);
        seen[index] = true;
        EXPECT_EQ(rows->rank[index], row);
        for (std::size_t a = 0; a < 3; ++a) {
            EXPECT_EQ(rows->positions[(row / 16 * 3 + a) * 16 + row % 16], points[index * 3 + a]);
        }
        std::uint32_t stored = 0;
        std::memcpy(&stored, rows->columns[0].data + row * rows->columns[0].stride, 4);
        EXPECT_EQ(stored, index);
    }
}

TEST(Columns, AChangedMapHasNoRowsUntilItIsConsolidated) {
    const auto map = map_of_points({1, 2, 3}, 1);
    EXPECT_TRUE(rows_of(*map->operator->()).has_value());
    Map_element element;
    (*map)->get(0, element);
    (*map)->set(1, element);
    EXPECT_FALSE(rows_of(*map->operator->()).has_value());
    (*map)->consolidate();
    EXPECT_TRUE(rows_of(*map->operator->()).has_value());
    EXPECT_FALSE(rows_of(*Edit_map().operator->()).has_value()) << "no declaration";
}

} // namespace
