// Every format that the documentation lists, on disks with and without room.
#include "tests/image/picture_folder.h"

#include "host/image/write.h"

#include <OpenImageIO/imageio.h>

#include <array>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <thread>

#include <sys/resource.h>

namespace fs = std::filesystem;
using namespace vx::image;
using vx::test::ramp;
using vx::test::ramp_frame;

namespace {

struct Format {
    const char* name;
    int channels;     // of the file, for the type "rgba"
    double tolerance; // of colors
};

// 8 bits are off by 1/510 at most; hdr keeps 8 bits below the exponent of the largest channel. The
// others lose more: chroma at half the resolution, 256 colors.
constexpr std::array kFormats{
    Format{"png", 4, 0.002},  Format{"exr", 4, 0.001}, Format{"tif", 4, 0.002},
    Format{"tiff", 4, 0.002}, Format{"jpg", 3, 0.05},  Format{"jpeg", 3, 0.05},
    Format{"jp2", 4, 0.002},  Format{"j2k", 4, 0.002}, Format{"tga", 4, 0.002},
    Format{"iff", 4, 0.002},  Format{"rgb", 4, 0.002}, Format{"sgi", 4, 0.002},
    Format{"hdr", 3, 0.008},  Format{"bmp", 4, 0.002}, Format{"dpx", 4, 0.002},
    Format{"pnm", 3, 0.002},  Format{"ppm", 3, 0.002}, Format{"webp", 3, 0.05},
    Format{"gif", 4, 0.15},
};

// No file of this process becomes larger than this.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_old);
        rlimit limit = m_old;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &m_old);
        (void)std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    rlimit m_old{};
    void (*m_handler)(int);
};

class Formats : public vx::test::PictureFolder {
  protected:
    void TearDown() override {
        ::unsetenv("SOURCE_DATE_EPOCH");
        ::unsetenv("TZ");
        PictureFolder::TearDown();
    }
    WriteRequest request(const std::string& name, const std::string& types = "") const {
        WriteRequest r;
        r.path = folder / name;
        if (!types.empty()) r.type = parse_pixel_type(types);
        return r;
    }
    static std::vector<float> read(const fs::path& path, OIIO::ImageSpec& spec) {
        OIIO::ImageSpec raw;
        raw.attribute("oiio:UnassociatedAlpha", 1); // as stored
        const auto in = OIIO::ImageInput::open(path.string(), &raw);
        EXPECT_TRUE(in) << OIIO::geterror();
        if (!in) return {};
        spec = in->spec();
        std::vector<float> values(spec.image_pixels() * static_cast<std::size_t>(spec.nchannels));
        EXPECT_TRUE(in->read_image(0, 0, 0, -1, OIIO::TypeDesc::FLOAT, values.data()));
        EXPECT_FALSE(in->has_error()) << in->geterror();
        return values;
    }
};

} // namespace

TEST_F(Formats, EveryListedFormatComesBackWithItsColors) {
    // Sides that are multiples of nothing, that fit into one tile, that need several.
    constexpr std::array<std::array<int, 2>, 5> kSizes{
        {{1, 1}, {64, 32}, {37, 33}, {65, 64}, {131, 67}}};
    for (const auto& [name, channels, tolerance] : kFormats)
        for (const auto& [width, height] : kSizes)
            for (const char* const types : {"rgba", "rgb"}) {
                SCOPED_TRACE(fmt::format("{} {} {} x {}", name, types, width, height));
                const WriteRequest r = request(fmt::format("a.{}", name), types);
                if (width < 32 && (r.path.extension() == ".jp2" || r.path.extension() == ".j2k")) {
                    // Five times half the size would leave nothing.
                    EXPECT_TRUE(check_picture(r, width, height));
                    EXPECT_TRUE(write_picture(ramp_frame(width, height), r));
                    EXPECT_EQ(files(), 0u);
                    continue;
                }
                ASSERT_EQ(check_picture(r, width, height), std::nullopt);
                ASSERT_EQ(write_picture(ramp_frame(width, height), r), std::nullopt);
                OIIO::ImageSpec spec;
                const std::vector<float> v = read(r.path, spec);
                ASSERT_EQ(spec.width, width);
                ASSERT_EQ(spec.height, height);
                const bool is_gif = std::string(name) == "gif"; // always read with alpha
                ASSERT_EQ(spec.nchannels, is_gif ? 4 : std::string(types) == "rgb" ? 3 : channels);
                double worst = 0;
                double worst_alpha = 0;
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        const miColor c = ramp(x, height - 1 - y, width, height);
                        const float* const p =
                            v.data() + static_cast<std::ptrdiff_t>(y * width + x) * spec.nchannels;
                        for (const float d : {p[0] - c.r, p[1] - c.g, p[2] - c.b})
                            worst = std::max(worst, std::abs(static_cast<double>(d)));
                        if (spec.nchannels == 4 && !is_gif)
                            worst_alpha =
                                std::max(worst_alpha, std::abs(static_cast<double>(p[3] - c.a)));
                    }
                EXPECT_LE(worst, tolerance);
                EXPECT_LE(worst_alpha, 0.002);
                EXPECT_EQ(files(), 1u);
                fs::remove(r.path);
            }
}

TEST_F(Formats, FullDiskKeepsTheOldPictureInEveryFormat) {
    const Frame frame = ramp_frame(64, 48);
    const std::string old = "the picture of yesterday";
    for (const Format& format : kFormats) {
        const WriteRequest r = request(fmt::format("a.{}", format.name));
        ASSERT_EQ(write_picture(frame, r), std::nullopt) << format.name;
        const std::string whole = slurp(r.path);
        const std::size_t size = whole.size();
        for (const std::size_t room : {std::size_t{0}, std::size_t{1}, size / 3, size - 1}) {
            SCOPED_TRACE(fmt::format("{} room {} of {}", format.name, room, size));
            put(r.path.filename(), old);
            std::optional<std::string> reason;
            {
                const FileSizeLimit limit(room);
                reason = write_picture(frame, r);
            }
            ASSERT_TRUE(reason);
            const std::string writer = format.name;
            // The files in memory that these two pass through have the same limit.
            if (writer != "sgi" && writer != "rgb") {
                EXPECT_EQ(*reason, "cannot be written: File too large");
            }
            EXPECT_EQ(slurp(r.path), old);
            EXPECT_EQ(files(), 1u);
            // Without an old picture there is none afterwards.
            fs::remove(r.path);
            {
                const FileSizeLimit limit(room);
                reason = write_picture(frame, r);
            }
            EXPECT_TRUE(reason);
            EXPECT_EQ(files(), 0u);
        }
        {
            const FileSizeLimit limit(size);
            EXPECT_EQ(write_picture(frame, r), std::nullopt) << format.name;
        }
        EXPECT_EQ(slurp(r.path), whole) << format.name;
        fs::remove(r.path);
    }
}

TEST_F(Formats, UnsupportedPicturesAreRefusedBeforehand) {
    const auto reason = [&](const char* name, const char* types, int width, int height) {
        return check_picture(request(name, types), width, height).value_or("");
    };
    for (const char* const format :
         {"fits", "heif", "ico", "null", "rla", "term", "zfile", "xyz"}) {
        EXPECT_FALSE(can_write(format)) << format;
        EXPECT_EQ(reason(fmt::format("a.{}", format).c_str(), "", 64, 64),
                  fmt::format("pictures of the format '{}' cannot be written", format));
    }
    for (const Format& format : kFormats)
        EXPECT_TRUE(can_write(format.name)) << format.name;
    EXPECT_TRUE(can_write("JPG"));
    EXPECT_EQ(reason("a", "", 64, 64), "no format is given, and the file name has no extension");
    const auto is_refused = [&](const char* name, const char* types, int width, int height) {
        return reason(name, types, width, height).find("cannot be encoded as ") !=
               std::string::npos;
    };
    EXPECT_EQ(reason("a.hdr", "z", 64, 64),
              "cannot be encoded as 'hdr': HDR can only support 3-channel images");
    EXPECT_EQ(reason("a.jp2", "rgb", 64, 31).find('\n'), std::string::npos);
    EXPECT_TRUE(is_refused("a.jp2", "rgb", 64, 31)) << "five times half of it is nothing";
    EXPECT_TRUE(is_refused("a.iff", "rgb", 64, 8193));
    EXPECT_FALSE(is_refused("a.hdr", "rgb", 64, 64));
    EXPECT_TRUE(is_refused("a.jpg", "rgb", 65501, 8)) << "the largest side is 65500";
    EXPECT_TRUE(is_refused("a.jpg", "rgb", 8, 65501));
    EXPECT_FALSE(is_refused("a.jpg", "rgb", 65500, 8));
    EXPECT_TRUE(is_refused("a.webp", "rgb", 16384, 70)) << "14 bits for a side";
    EXPECT_TRUE(is_refused("a.webp", "rgb", 70, 16384));
    EXPECT_FALSE(is_refused("a.webp", "rgb", 16383, 70));
    EXPECT_TRUE(is_refused("a.tga", "rgb", 65536, 8)) << "16 bits for a side";
    EXPECT_TRUE(is_refused("a.gif", "rgb", 65536, 8)) << "16 bits for a side";
    EXPECT_EQ(files(), 0u);
}

TEST_F(Formats, TypeAndNameMustNotContradictEachOther) {
    WriteRequest r = request("a.tif");
    r.format = "png";
    EXPECT_EQ(check_picture(r, 8, 8), "the format is 'png', but the name ends in '.tif'");
    EXPECT_EQ(write_picture(ramp_frame(8, 8), r),
              "the format is 'png', but the name ends in '.tif'");
    EXPECT_EQ(files(), 0u);
    r.format = "tiff";
    EXPECT_EQ(check_picture(r, 8, 8), std::nullopt);
    r.path = folder / "a.TIF";
    EXPECT_EQ(check_picture(r, 8, 8), std::nullopt);
    ASSERT_EQ(write_picture(ramp_frame(8, 8), request("a.EXR")), std::nullopt);
    OIIO::ImageSpec spec;
    read(folder / "a.EXR", spec);
    EXPECT_EQ(spec.format, OIIO::TypeDesc::HALF) << "as for a.exr";
    // Extensions that say nothing.
    for (const char* const name : {"a", "a.0001", "a.tmp"}) {
        r.path = folder / name;
        EXPECT_EQ(check_picture(r, 8, 8), std::nullopt) << name;
        EXPECT_EQ(write_picture(ramp_frame(8, 8), r), std::nullopt) << name;
        EXPECT_EQ(slurp(r.path).substr(0, 2), "II") << "a TIFF file";
    }
}

TEST_F(Formats, SameFrameGivesTheSameBytesAtAnyTime) {
    const Frame frame = ramp_frame(64, 48);
    std::array<std::string, kFormats.size()> first;
    for (std::size_t i = 0; i < kFormats.size(); ++i) {
        const WriteRequest r = request(fmt::format("a.{}", kFormats[i].name));
        ASSERT_EQ(write_picture(frame, r), std::nullopt);
        first[i] = slurp(r.path);
    }
    // Another second, and another hour for formats that leave the seconds out.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    ::setenv("TZ", "UTC-7", 1);
    ::tzset();
    for (std::size_t i = 0; i < kFormats.size(); ++i) {
        const WriteRequest r = request(fmt::format("b.{}", kFormats[i].name));
        ASSERT_EQ(write_picture(frame, r), std::nullopt);
        EXPECT_EQ(slurp(r.path), first[i]) << kFormats[i].name;
        OIIO::ImageSpec spec;
        read(r.path, spec);
        EXPECT_EQ(spec.get_string_attribute("DateTime"), "") << kFormats[i].name;
    }
}

TEST_F(Formats, TiffHasNoDateAndSgiNoLeftoversInItsHeader) {
    ASSERT_EQ(write_picture(ramp_frame(8, 8), request("a.tif")), std::nullopt);
    const std::string tif = slurp(folder / "a.tif");
    const auto number = [&](std::size_t at, std::size_t size) {
        std::size_t value = 0;
        for (std::size_t i = size; i-- > 0;)
            value = value << 8 | static_cast<unsigned char>(tif.at(at + i));
        return value;
    };
    ASSERT_EQ(tif.substr(0, 2), "II");
    const std::size_t directory = number(4, 4);
    const std::size_t entries = number(directory, 2);
    EXPECT_GT(entries, 8u);
    for (std::size_t i = 0; i < entries; ++i)
        EXPECT_NE(number(directory + 2 + 12 * i, 2), 306u) << "the tag DateTime";

    ASSERT_EQ(write_picture(ramp_frame(8, 8), request("a.sgi")), std::nullopt);
    const std::string sgi = slurp(folder / "a.sgi");
    ASSERT_EQ(sgi.size(), 512u + 4 * 8 * 8);
    EXPECT_EQ(sgi.substr(0, 2), "\x01\xda");
    EXPECT_EQ(sgi.substr(24, 80), std::string(80, '\0')) << "the name";
    EXPECT_EQ(sgi.substr(108, 404), std::string(404, '\0')) << "the rest";
}

TEST_F(Formats, DateOfSourceDateEpochIsStored) {
    const Frame frame = ramp_frame(8, 8);
    ::setenv("SOURCE_DATE_EPOCH", "1000000000", 1);
    ::setenv("TZ", "UTC-7", 1);
    ::tzset();
    for (const char* const name : {"a.exr", "a.tif", "a.png", "a.jpg"}) {
        ASSERT_EQ(write_picture(frame, request(name)), std::nullopt);
        OIIO::ImageSpec spec;
        read(folder / name, spec);
        EXPECT_EQ(spec.get_string_attribute("DateTime"), "2001:09:09 01:46:40") << name;
    }
    for (const char* const bad : {"yesterday", "-1", "12 ", "253402300800"}) {
        ::setenv("SOURCE_DATE_EPOCH", bad, 1);
        const auto reason = write_picture(frame, request("b.exr"));
        ASSERT_TRUE(reason) << bad;
        EXPECT_EQ(*reason, fmt::format("cannot be encoded as 'exr': SOURCE_DATE_EPOCH is not a "
                                       "number of seconds since 1970: "
                                       "'{}'",
                                       bad));
        EXPECT_TRUE(check_picture(request("b.exr"), 8, 8));
    }
}
