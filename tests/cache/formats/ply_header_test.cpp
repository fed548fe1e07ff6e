#include "cache/cloud/error.h"
#include "cache/formats/ply_header.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

PlyHeader header_of(const std::string& text) {
    const TestFolder folder;
    return read_ply_header(InputFile(folder.put("a.ply", text)));
}
FileError failure(const std::string& text) {
    try {
        header_of(text);
    } catch (const FileError& why) {
        return why;
    }
    return {"", -1, ""};
}

TEST(PlyHeader, ElementsPropertiesListsAndWhereTheDataBegin) {
    const std::string text = "ply\nformat binary_big_endian 1.0\ncomment by hand\nobj_info x\n"
                             "element vertex 12\nproperty float32 x\nproperty uchar red\n"
                             "element face 2\nproperty list uchar int vertex_indices\nend_header\n";
    const PlyHeader h = header_of(text + "data");
    EXPECT_EQ(h.encoding, PlyEncoding::big);
    EXPECT_EQ(h.comments.size(), 2U);
    EXPECT_EQ(h.end, std::ssize(text));
    ASSERT_EQ(h.elements.size(), 2U);
    EXPECT_EQ(h.elements[0].count, 12);
    EXPECT_EQ(h.elements[0].offset, 60);
    EXPECT_EQ(h.elements[0].bytes(), 5);
    EXPECT_FALSE(h.elements[0].has_list());
    EXPECT_TRUE(h.elements[1].has_list());
    EXPECT_EQ(h.elements[1].properties[0].name, "vertex_indices");
}

TEST(PlyHeader, LinesMayEndAsOnWindows) {
    const PlyHeader h = header_of(
        "ply\r\nformat ascii 1.0\r\nelement vertex 1\r\nproperty int a\r\nend_header\r\n");
    EXPECT_EQ(h.elements[0].properties[0].name, "a");
    EXPECT_EQ(h.encoding, PlyEncoding::ascii);
}

TEST(PlyHeader, ErrorsNameTheLinesPlace) {
    const std::string head = "ply\nformat ascii 1.0\n"; // 21 bytes
    const auto expect = [&](const std::string& line, const std::string& why) {
        const FileError error = failure(head + line);
        EXPECT_EQ(error.what(), why);
        EXPECT_EQ(error.offset, 21) << line;
    };
    expect("element vertex -1\n", "an element needs a name and a count, this has '-1'");
    expect("element vertex\n", "an element needs a name and a count, this has ''");
    expect("property float x\n", "a property before any element");
    expect("vertex 3\n", "the header has a line that begins with 'vertex'");
    EXPECT_STREQ(failure(head + "element v 1\nproperty quad x\n").what(), "unknown type 'quad'");
    EXPECT_STREQ(failure(head + "element v 1\nproperty int x\nproperty int x\n").what(),
                 "two properties 'x'");
    EXPECT_STREQ(failure(head + "element v 1\n").what(), "the file ends inside the header");
    EXPECT_STREQ(failure("ply\nformat binary 1.0\n").what(), "unknown format 'binary'");
}

TEST(PlyTypes, ModelTypesHoldEveryValue) {
    EXPECT_EQ(ply_model_type(PlyType::uint8), Type::int32);
    EXPECT_EQ(ply_model_type(PlyType::int32), Type::int32);
    EXPECT_EQ(ply_model_type(PlyType::uint32), Type::int64);
    EXPECT_EQ(ply_model_type(PlyType::float32), Type::float32);
    EXPECT_EQ(ply_size(PlyType::uint16), 2U);
    EXPECT_EQ(ply_size(PlyType::float64), 8U);
}

} // namespace
} // namespace vx::cache
