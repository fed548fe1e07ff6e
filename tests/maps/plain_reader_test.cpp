// Files have the documented formats: a reader that is written from the document alone finds all
// values.
#include "tests/maps/helpers.h"
#include "tests/maps/plain_reader.h"

#include <cstring>

namespace {

using namespace vx::maps::test;

std::uint32_t bits(float x) {
    std::uint32_t word;
    std::memcpy(&word, &x, 4);
    return word;
}

TEST(PlainReader, FindsEveryValueInAllThreeForms) {
    const Folder folder;
    Map_declaration declaration(2);
    using T = Map_field_type;
    declaration->append_field("n", T::Integer);
    declaration->append_field("by", T::String, 9, true);
    declaration->append_field("v", T::Vector);
    declaration->append_field("pair", T::Integer_array, 2);
    declaration->append_field("scale", T::Scalar, 0, true);
    Edit_map map(declaration);
    map->set(1u, "a \"b\" \x01\\");
    map->set(4u, 0.1f);
    Map_element element(declaration);
    constexpr int kCount = 1100;
    for (int i = 0; i < kCount; ++i) {
        const float position[2] = {static_cast<float>(i * 37 % 101),
                                   1.0f / static_cast<float>(i + 1)};
        element->set_position(position);
        element->set(0u, -i);
        element->set(2u, miVector{static_cast<float>(i), 1e-40f, -1e30f});
        const int pair[2] = {i, 2 * i};
        element->set(3u, pair);
        map->append(element);
    }
    map->consolidate();
    const std::pair<Map_base::File_format, const char*> forms[] = {
        {Map_base::Closed_binary, "closed"},
        {Map_base::Open_binary, "open"},
        {Map_base::Open_ASCII, "ascii"}};
    for (const auto& [format, name] : forms) {
        const std::string file = folder.file(name);
        ASSERT_TRUE(map->write(file.c_str(), false, format).is_ok());
        const plain::Map read = plain::read(bytes_of(file));
        EXPECT_EQ(read.form, name);
        EXPECT_EQ(read.dimension, 2u);
        ASSERT_EQ(read.fields.size(), 5u);
        EXPECT_EQ(read.fields[3].name, "pair");
        EXPECT_EQ(read.fields[3].type, 6u);
        EXPECT_EQ(read.fields[3].length, 2u);
        EXPECT_TRUE(read.fields[4].global);
        EXPECT_EQ(read.fields[4].value, std::vector<std::uint32_t>{bits(0.1f)});
        EXPECT_STREQ(reinterpret_cast<const char*>(read.fields[1].value.data()), "a \"b\" \x01\\");
        ASSERT_EQ(read.records.size(), static_cast<std::size_t>(kCount));
        for (int i = 0; i < kCount; ++i) {
            const auto n = static_cast<std::uint32_t>(i);
            const std::vector<std::uint32_t> expected = {bits(static_cast<float>(i * 37 % 101)),
                                                         bits(1.0f / static_cast<float>(i + 1)),
                                                         0u - n,
                                                         bits(static_cast<float>(i)),
                                                         bits(1e-40f),
                                                         bits(-1e30f),
                                                         n,
                                                         2 * n};
            ASSERT_EQ(read.records[static_cast<std::size_t>(i)], expected) << name << ' ' << i;
        }
    }
}

TEST(PlainReader, EmptyMaps) {
    const Folder folder;
    const Edit_map map(cloud_declaration());
    for (const auto format :
         {Map_base::Closed_binary, Map_base::Open_binary, Map_base::Open_ASCII}) {
        const std::string file = folder.file("empty");
        ASSERT_TRUE(map->write(file.c_str(), false, format).is_ok());
        const plain::Map read = plain::read(bytes_of(file));
        EXPECT_EQ(read.records.size(), 0u);
        EXPECT_EQ(read.fields.size(), 4u);
    }
}

} // namespace
