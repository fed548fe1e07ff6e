// Pictures as textures.
#include "host/image/formats.h"

#include "tests/image/picture_folder.h"

#include <OpenImageIO/imageio.h>

#include <array>

#include <sys/stat.h>

using namespace vx::image;

namespace {

class ReadPicture : public vx::test::PictureFolder {
  protected:
    // A picture of 9 x 7 pixels, white below a line of black. The name does not give the format
    // away.
    std::string picture(const std::string& plugin, const OIIO::TypeDesc& type, int channels) const {
        OIIO::ImageSpec spec(9, 7, channels, type);
        std::vector<float> values(std::size_t{9} * 7 * static_cast<std::size_t>(channels), 1.0f);
        std::fill_n(values.begin(), 9 * channels, 0.0f);
        const std::string named = (folder / ("file." + plugin)).string();
        const auto out = OIIO::ImageOutput::create(plugin);
        EXPECT_TRUE(out && out->open(named, spec) &&
                    out->write_image(OIIO::TypeDesc::FLOAT, values.data()) && out->close());
        std::string path = (folder / (plugin + ".none")).string();
        std::filesystem::rename(named, path);
        return path;
    }
    std::string file(const std::string& name, std::string_view contents) const {
        std::ofstream(folder / name, std::ios::binary) << contents;
        return (folder / name).string();
    }
    static std::string failure(const std::string& path) {
        Pixels pixels;
        return read_picture(path, pixels).value_or("");
    }
};

} // namespace

TEST_F(ReadPicture, TheFormatIsThatOfTheContents) {
    struct Format {
        const char* plugin;
        OIIO::TypeDesc type;
        int channels;
    };
    const OIIO::TypeDesc u8 = OIIO::TypeDesc::UINT8, real = OIIO::TypeDesc::FLOAT;
    for (const Format& f : std::array<Format, 11>{{{"bmp", u8, 3},
                                                   {"dpx", u8, 3},
                                                   {"hdr", real, 3},
                                                   {"iff", u8, 4},
                                                   {"openexr", real, 4},
                                                   {"png", u8, 4},
                                                   {"pnm", u8, 3},
                                                   {"sgi", u8, 3},
                                                   {"targa", u8, 4},
                                                   {"tiff", real, 3},
                                                   {"gif", u8, 4}}}) {
        Pixels pixels;
        const auto reason = read_picture(picture(f.plugin, f.type, f.channels), pixels);
        ASSERT_FALSE(reason) << f.plugin << ": " << *reason;
        EXPECT_EQ(pixels.width, 9) << f.plugin;
        EXPECT_EQ(pixels.height, 7) << f.plugin;
        EXPECT_EQ(pixels.components, f.channels) << f.plugin;
        const std::size_t size = std::size_t{9} * 7 * static_cast<std::size_t>(f.channels);
        if (f.type == u8) {
            ASSERT_EQ(pixels.bytes.size(), size) << f.plugin;
            EXPECT_EQ(pixels.bytes.front(), 0) << f.plugin;
            EXPECT_EQ(pixels.bytes[size - 2], 255) << f.plugin;
        } else {
            ASSERT_EQ(pixels.floats.size(), size) << f.plugin;
            EXPECT_EQ(pixels.floats.front(), 0.0f) << f.plugin;
            EXPECT_NEAR(pixels.floats[size - 2], 1.0f, 0.01f) << f.plugin;
        }
    }
}

TEST_F(ReadPicture, OtherFilesAreRefused) {
    EXPECT_EQ(failure((folder / "none.png").string()), "there is no such file");
    EXPECT_EQ(failure(folder.string()), "it is not a regular file");
    EXPECT_EQ(failure(file("empty.png", "")), "its format is not supported");
    EXPECT_EQ(failure(file("text.tga", "a text of more than 18 bytes, and no picture")),
              "its format is not supported");
    EXPECT_EQ(
        failure(file("icon.ico", std::string_view("\0\0\1\0\1\0\x10\x10\0\0\1\0 \0\0\0\0\0", 18))),
        "its format is not supported");
}
