#include "cache/formats/npy_header.h"

#include <gtest/gtest.h>

namespace vx::cache {
namespace {

using namespace std::string_literals;

TEST(NpyPrefix, LengthsOfTwoAndOfFourBytes) {
    const auto one = parse_npy_prefix("\x93NUMPY\x01\0\x76\x01zz"s);
    ASSERT_TRUE(one.has_value());
    EXPECT_EQ(one->bytes, 10);
    EXPECT_EQ(one->dictionary, 0x176);
    const auto two = parse_npy_prefix("\x93NUMPY\x02\0\x76\x01\0\x80"s);
    ASSERT_TRUE(two.has_value());
    EXPECT_EQ(two->bytes, 12);
    EXPECT_EQ(two->dictionary, 0x80000176LL);
    EXPECT_FALSE(parse_npy_prefix("\x93NUMPX\x01\0\x76\x01zz"s).has_value());
}

NpyLayout layout_of(const std::string& type, const std::string& shape,
                    const std::string& fortran = "False") {
    NpyLayout layout;
    EXPECT_EQ(parse_npy_dictionary("{'descr': " + type + ", 'fortran_order': " + fortran +
                                       ", 'shape': " + shape + ", }",
                                   layout),
              "");
    return layout;
}

TEST(NpyDictionary, TypeOrderAndShape) {
    const NpyLayout big = layout_of("'>u4'", "(7, 3)", "True");
    EXPECT_TRUE(big.known && big.big && big.fortran);
    EXPECT_EQ(big.kind, 'u');
    EXPECT_EQ(big.size, 4);
    EXPECT_EQ(big.shape, (std::vector<std::int64_t>{7, 3}));
    EXPECT_EQ(big.rows(), 7);
    EXPECT_EQ(big.bytes, 84);
    EXPECT_EQ(big.model_type(), Type::int64);
    const NpyLayout scalar = layout_of("'<f2'", "()");
    EXPECT_FALSE(scalar.big || scalar.fortran);
    EXPECT_TRUE(scalar.shape.empty());
    EXPECT_EQ(scalar.rows(), 1);
    EXPECT_EQ(scalar.bytes, 2);
    EXPECT_EQ(scalar.model_type(), Type::float32);
    EXPECT_EQ(layout_of("'|b1'", "(4,)").model_type(), Type::int32);
    EXPECT_EQ(layout_of("'<i8'", "(4,)").model_type(), Type::int64);
    EXPECT_EQ(layout_of("'<f8'", "(4,)").model_type(), Type::float64);
}

TEST(NpyDictionary, OtherTypesAreUnknown) {
    for (const std::string type : {"'<c8'", "'<U7'", "'<f16'", "[('x', '<f4')]"}) {
        const NpyLayout layout = layout_of(type, "(broken");
        EXPECT_FALSE(layout.known) << type;
        EXPECT_EQ(layout.type_text, type.substr(0, type.find(',')));
    }
}

TEST(NpyDictionary, ReasonsWhyItIsInvalid) {
    const auto reason = [](const std::string& text) {
        NpyLayout layout;
        return parse_npy_dictionary(text, layout);
    };
    const std::string type = "{'descr': '<f8', ";
    EXPECT_EQ(reason(type + "'shape': (1,)}"), "its header is damaged");
    EXPECT_EQ(reason(type + "'fortran_order': False}"), "its header is damaged");
    EXPECT_EQ(reason("{'fortran_order': False, 'shape': (1,)}"), "its header is damaged");
    const std::string both = type + "'fortran_order': False, 'shape': ";
    EXPECT_EQ(reason(both + "7}"), "its header is damaged");
    EXPECT_EQ(reason(both + "(-1,)}"), "its shape is damaged");
    EXPECT_EQ(reason(both + "(x,)}"), "its shape is damaged");
    EXPECT_EQ(reason(both + "(4294967296, 268435456)}"), "its shape is larger than any file");
    EXPECT_EQ(reason(both + "(4294967296, 268435455)}"), "");
    const std::string bytes = "{'descr': '|i1', 'fortran_order': False, 'shape': ";
    EXPECT_EQ(reason(bytes + "(34359738367, 268435456)}"), "") << "2^63 - 2^28 bytes";
    EXPECT_EQ(reason(bytes + "(34359738368, 268435456)}"), "its shape is larger than any file");
}

// As the format's description has it: the values begin at a multiple of 64.
TEST(NpyHeader, WrittenHeadersAreAlignedAndReadBack) {
    for (const bool single : {false, true}) {
        for (const int width : {1, 3}) {
            const Attribute attribute{"a", Type::float32, width, single};
            const std::string header = npy_header(attribute, 1234567);
            EXPECT_EQ(header.size() % 64, 0U);
            EXPECT_EQ(header.back(), '\n');
            EXPECT_NE(header.find("), }"), std::string::npos);
            EXPECT_EQ(header.substr(0, 8), "\x93NUMPY\x01\0"s);
            const auto prefix = parse_npy_prefix(header);
            ASSERT_TRUE(prefix.has_value());
            EXPECT_EQ(prefix->bytes + prefix->dictionary, std::ssize(header));
            NpyLayout layout;
            EXPECT_EQ(parse_npy_dictionary(std::string_view(header).substr(10), layout), "");
            EXPECT_EQ(layout.kind, 'f');
            EXPECT_EQ(layout.size, 4);
            EXPECT_EQ(layout.rows(), single ? 1 : 1234567);
            EXPECT_EQ(layout.bytes, (single ? 4 : 4 * 1234567) * width);
        }
    }
}

} // namespace
} // namespace vx::cache
