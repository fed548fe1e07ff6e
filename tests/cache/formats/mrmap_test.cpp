#include "cache/formats/format.h"
#include "cache/formats/map_access.h"
#include "cache/verbs/statistics.h"
#include "maps/testing.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace vx::cache {
namespace {

using mi::shader_v3::Edit_map;
using mi::shader_v3::Map_declaration;
using mi::shader_v3::Map_element;
using mi::shader_v3::Map_field_type;

TEST(MapFile, TextsAreShownButNotConverted) {
    const TestFolder folder;
    Map_declaration declaration(3);
    declaration->append_field("author", Map_field_type::String, 40, true);
    declaration->append_field("w", Map_field_type::Scalar);
    Edit_map map(declaration);
    Map_element element(declaration);
    element->set(1, 0.5f);
    map->append(element);
    map->set(0, "two\nlines");
    map->consolidate();
    const std::string path = folder.path("a.mrmap");
    ASSERT_TRUE(map->write(path.c_str(), false).is_ok());

    Findings findings;
    const OpenedCloud opened = open_cloud(path, findings);
    EXPECT_EQ(opened.cloud->details.back(),
              (std::pair<std::string, std::string>{"text author", "\"two lines\""}));
    EXPECT_EQ(values_of<float>(*opened.cloud, "w"), std::vector<float>{0.5f});
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].text,
              "field 'author' is a text: info shows it, conversions do not carry it");
    EXPECT_EQ(findings[0].severity, Severity::warning);
}

TEST(MapOf, AnyCloudHasTheFourFieldsOfTheShadersMapsInItsOrder) {
    MemoryCloud cloud(3);
    cloud.add<double>("position", 3, {3, 0, 0, 1, 0, 0, 2, 0, 0});
    cloud.add<double>("tag", 1, {4294967297.0, 7.9, -1});
    cloud.add<float>("w", 1, {1, 2, 3});
    Notes notes;
    const auto shared = map_of(cloud, notes);
    const auto map = shared->access();
    ASSERT_EQ((*map)->size(), 3U);
    const Map_declaration declaration(*map);
    EXPECT_EQ(declaration->get_field_count(), 4U);
    Map_element element(declaration);
    const int labels[] = {1, 7, -1}; // the low 32 bits of what is truncated
    const float x[] = {3, 1, 2};
    for (miUint i = 0; i < 3; ++i) {
        ASSERT_TRUE((*map)->get(i, element).is_ok());
        float p[3];
        int label = 0;
        element->get_position(p);
        EXPECT_EQ(p[0], x[i]);
        ASSERT_TRUE(element->get(declaration->get_field_id("tag"), label).is_ok());
        EXPECT_EQ(label, labels[i]);
    }
}

TEST(WriteMap, CountsTheRoundedValueOfAGlobalFieldOnce) {
    const TestFolder folder;
    MemoryCloud cloud(2);
    cloud.add<double>("position", 3, {1, 0, 0, 2, 0, 0});
    cloud.add<double>("scale", 1, {0.1}, true);
    const Notes notes = write_cloud(cloud, folder.path("a.mrmap"), Format::mrmap, {});
    EXPECT_EQ(notes, Notes{"'scale': 1 of 1 values do not fit float32 and were rounded"});

    Findings findings;
    const OpenedCloud opened = open_cloud(folder.path("a.mrmap"), findings);
    EXPECT_EQ(values_of<float>(*opened.cloud, "scale"), (std::vector<float>{0.1f, 0.1f}));
}

// Adds an attribute of every width that maps have fields for, and one of another.
void fill_widely(MemoryCloud& cloud) {
    const std::int64_t count = cloud.count;
    std::mt19937 random(8);
    const auto values = [&](int width) {
        std::vector<float> out(static_cast<std::size_t>(count * width));
        for (float& x : out)
            x = static_cast<float>(random() % 4096) / 64;
        return out;
    };
    std::vector<std::int32_t> pairs(static_cast<std::size_t>(2 * count));
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = static_cast<std::int32_t>(i);
    for (const int width : {3, 1, 4, 16, 5}) {
        cloud.add(width == 3 ? "position" : "w" + std::to_string(width), width, values(width));
    }
    cloud.add("pair", 2, pairs).add<float>("all", 3, {1, 2, 3}, true);
}

std::vector<std::byte> bytes_of(Cloud& cloud, std::size_t attribute, std::int64_t first,
                                std::int64_t n) {
    std::vector<std::byte> out(cloud.attributes[attribute].bytes() * static_cast<std::size_t>(n));
    cloud.read(attribute, first, n, out.data());
    return out;
}

TEST(MapFile, KeepsTheOrderOfThePoints) {
    const TestFolder folder;
    MemoryCloud cloud(20000);
    fill_widely(cloud);
    for (const bool parallel : {false, true}) {
        cloud.parallel = parallel;
        WriteOptions options;
        options.force = true;
        write_cloud(cloud, folder.path("a.mrmap"), Format::mrmap, options);
        Findings findings;
        const OpenedCloud opened = open_cloud(folder.path("a.mrmap"), findings);
        Cloud& read = *opened.cloud;
        ASSERT_EQ(read.count, cloud.count);
        ASSERT_EQ(read.attributes.size(), cloud.attributes.size());
        for (std::size_t a = 0; a < read.attributes.size(); ++a) {
            const auto twin = static_cast<std::size_t>(cloud.find(read.attributes[a].name));
            ASSERT_EQ(read.attributes[a], cloud.attributes[twin]);
            const std::int64_t n = read.attributes[a].single ? 1 : read.count;
            EXPECT_EQ(bytes_of(read, a, 0, n), bytes_of(cloud, twin, 0, n));
            if (n > 1) {
                EXPECT_EQ(bytes_of(read, a, 17, 5), bytes_of(cloud, twin, 17, 5));
            }
        }
    }
}

// The rows of a map are in another order than its points; stored_row() gives the row of each.
TEST(MapFile, RowsAreThePointsInAnotherOrder) {
    const TestFolder folder;
    MemoryCloud cloud(3000);
    fill_widely(cloud);
    write_cloud(cloud, folder.path("a.mrmap"), Format::mrmap, {});
    Findings findings;
    const OpenedCloud opened = open_cloud(folder.path("a.mrmap"), findings);
    Cloud& map = *opened.cloud;
    EXPECT_TRUE(map.reads_in_parallel());
    std::int64_t moved = 0;
    for (std::size_t a = 0; a < map.attributes.size(); ++a) {
        if (map.attributes[a].single) continue;
        const std::size_t size = map.attributes[a].bytes();
        std::vector<std::byte> rows(size * 3000);
        // In two runs, the second of which begins within a leaf of the tree.
        map.read_rows(a, 0, 1001, rows.data());
        map.read_rows(a, 1001, 1999, rows.data() + 1001 * size);
        const std::vector<std::byte> points = bytes_of(map, a, 0, 3000);
        for (std::int64_t point = 0; point < 3000; ++point) {
            const std::int64_t row = map.stored_row(point);
            const auto* const in_rows = rows.data() + static_cast<std::size_t>(row) * size;
            const auto* const in_points = points.data() + static_cast<std::size_t>(point) * size;
            ASSERT_TRUE(std::equal(in_rows, in_rows + size, in_points)) << a << ' ' << point;
            moved += row == point ? 0 : 1;
        }
    }
    EXPECT_GT(moved, 3000);
}

// Measured by rows, a map has the same extremes, labels and distances as the cloud it was made of.
TEST(MapFile, MeasuresAsTheCloudItWasMadeOf) {
    const TestFolder folder;
    MemoryCloud cloud(40000);
    std::mt19937 random(5);
    std::vector<float> position(3 * 40000);
    std::vector<std::int32_t> tag(40000);
    for (std::size_t i = 0; i < tag.size(); ++i) {
        position[3 * i] = static_cast<float>(i % 200) + static_cast<float>(random() % 64) / 256;
        position[3 * i + 1] = static_cast<float>(tag.size() - i) / 256;
        tag[i] = static_cast<std::int32_t>(random() % 3000);
    }
    cloud.add("position", 3, position).add("tag", 1, tag);
    write_cloud(cloud, folder.path("a.mrmap"), Format::mrmap, {});
    Findings findings;
    const OpenedCloud opened = open_cloud(folder.path("a.mrmap"), findings);
    const Statistics a = measure(cloud, {});
    const Statistics b = measure(*opened.cloud, {});
    EXPECT_EQ(a.labels, b.labels);
    EXPECT_GT(a.spacing.samples, 100);
    EXPECT_EQ(a.spacing.samples, b.spacing.samples);
    EXPECT_EQ(a.spacing.median, b.spacing.median);
    EXPECT_EQ(a.spacing.most, b.spacing.most);
    const auto p = static_cast<std::size_t>(opened.cloud->find("position"));
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(a.ranges[0][k].least, b.ranges[p][k].least);
        EXPECT_EQ(a.ranges[0][k].most, b.ranges[p][k].most);
        // The coordinates are multiples of 1/256: their sums are exact.
        EXPECT_EQ(a.ranges[0][k].mean, b.ranges[p][k].mean);
    }
}

TEST(MapFile, VerificationNoticesAChangedValue) {
    const TestFolder folder;
    MemoryCloud cloud(100);
    fill_widely(cloud);
    write_cloud(cloud, folder.path("a.mrmap"), Format::mrmap, {});
    std::string bytes = folder.get("a.mrmap");
    Findings findings;
    EXPECT_TRUE(open_cloud(folder.path("a.mrmap"), findings).cloud->verify().empty());
    bytes[bytes.size() - 100] = static_cast<char>(bytes[bytes.size() - 100] + 1);
    folder.put("b.mrmap", bytes);
    EXPECT_THROW(open_cloud(folder.path("b.mrmap"), findings), FileError);
    // As if the file were large.
    vx::maps::set_verified_size(0);
    const OpenedCloud opened = open_cloud(folder.path("b.mrmap"), findings);
    vx::maps::set_verified_size(vx::maps::kVerifiedBytes);
    const auto damage = opened.cloud->verify();
    ASSERT_EQ(damage.size(), 1U);
    EXPECT_EQ(damage[0].first, 56);
    EXPECT_EQ(damage[0].second, "the checksum is not that of the file: some of its bytes changed");
}

} // namespace
} // namespace vx::cache
