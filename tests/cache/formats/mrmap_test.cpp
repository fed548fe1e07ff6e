#include "cache/formats/format.h"
#include "cache/formats/map_access.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

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

} // namespace
} // namespace vx::cache
