#include "host/scene/source.h"

#include "tests/scene/folder.h"

#include <gtest/gtest.h>
#include <zlib.h>

using namespace vx::scene;

namespace {

std::string packed(const std::string& text) {
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    std::string result(deflateBound(&stream, static_cast<uLong>(text.size())) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    return result;
}

std::string text_of(const Source& source) {
    return {source.begin(), source.end()};
}

TEST(Source, ZerosFollowTheEnd) {
    std::string error;
    for (const std::size_t size : {0u, 1u, 4096u, 1u << 20}) {
        const auto source = Source::from_text(std::string(size, 'x'), error);
        ASSERT_TRUE(source);
        EXPECT_EQ(source->size(), size);
        for (int i = 0; i < 16; ++i)
            EXPECT_EQ(source->end()[i], '\0');
    }
}

TEST(Source, ReadsAFileOfAnySize) {
    const Folder folder;
    std::string error;
    for (const std::size_t size : {0u, 5u, 4096u, 3000000u}) {
        std::string text(size, 'a');
        if (size > 2) text[size / 2] = '\0';
        const auto source = Source::from_file(folder.write("f", text), error);
        ASSERT_TRUE(source) << error;
        EXPECT_EQ(text_of(*source), text);
    }
}

TEST(Source, UnpacksGzip) {
    const Folder folder;
    std::string error, text;
    for (int i = 0; i < 300000; ++i)
        text += std::to_string(i) + '\n';
    const auto source = Source::from_file(folder.write("a.mi.gz", packed(text)), error);
    ASSERT_TRUE(source) << error;
    EXPECT_EQ(text_of(*source), text);
}

TEST(Source, UnpacksSeveralMembersInARow) {
    std::string error;
    const auto source = Source::from_text(packed("one ") + packed("two"), error);
    ASSERT_TRUE(source) << error;
    EXPECT_EQ(text_of(*source), "one two");
}

TEST(Source, CompressedDataThatEndsTooEarlyIsAnError) {
    const std::string whole = packed("some text that is long enough to be cut somewhere");
    for (std::size_t n = 2; n < whole.size(); ++n) {
        std::string error;
        EXPECT_FALSE(Source::from_text(std::string_view(whole).substr(0, n), error)) << n;
        EXPECT_NE(error, "");
    }
}

TEST(Source, DamagedCompressedDataIsAnError) {
    std::string whole = packed(std::string(1000, 'a') + "bcd"), error;
    whole[whole.size() / 2] = static_cast<char>(whole[whole.size() / 2] ^ 0x55);
    EXPECT_FALSE(Source::from_text(whole, error));
    EXPECT_NE(error.find("compressed data"), std::string::npos) << error;
}

TEST(Source, NamesTheReasonWhenAFileCannotBeRead) {
    const Folder folder;
    std::string error;
    EXPECT_FALSE(Source::from_file(folder.path("none"), error));
    EXPECT_EQ(error, "No such file or directory");
    EXPECT_FALSE(Source::from_file(folder.path(""), error));
    EXPECT_EQ(error, "Is a directory");
}

} // namespace
