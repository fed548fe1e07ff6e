#include "host/image/memory_file.h"
#include "host/image/openimageio.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <span>

namespace vx::image::openimageio {

namespace {

using Reason = std::optional<std::string>;
using Bytes = std::vector<unsigned char>;

// What has been seen to come back whole, by the names of OpenImageIO's plugins. Its others are left
// out: "ico" corrupts memory, "rla" always stores the time of day, "null" and "term" keep nothing;
// "fits", "heif" and "zfile" lose many of the pixel types.
constexpr std::array kFormats{"bmp",     "dpx", "gif", "hdr", "iff",   "jpeg", "jpeg2000",
                              "openexr", "png", "pnm", "sgi", "targa", "tiff", "webp"};

// libjpeg ends the program for larger pictures.
constexpr int kMaxJpegSide = 65500;

std::string lower_case(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

int channel_count(Channels channels) {
    switch (channels) {
    case Channels::rgba:
        return 4;
    case Channels::rgb:
    case Channels::normal:
    case Channels::motion:
        return 3;
    case Channels::alpha:
    case Channels::depth:
    case Channels::label:
        return 1;
    }
    return 4;
}

float encoded(float value, const WriteRequest& request, bool integer) {
    if (!integer) return value;
    if (!(value > 0.0f)) return 0.0f;
    value = std::min(value, 1.0f);
    return request.gamma > 0.0f && request.gamma != 1.0f ? std::pow(value, 1.0f / request.gamma)
                                                         : value;
}

// One picture line, interleaved.
void fill_line(std::span<float> line, const Frame& frame, int y, const PixelType& type,
               const WriteRequest& request) {
    const bool integer = type.depth == Depth::bits8 || type.depth == Depth::bits16;
    std::size_t at = 0;
    const auto put = [&](float v) { line[at++] = v; };
    const auto put_vector = [&](const miVector& v) {
        put(v.x);
        put(v.y);
        put(v.z);
    };
    for (int x = 0; x < frame.width(); ++x) {
        switch (type.channels) {
        case Channels::rgb:
        case Channels::rgba: {
            const miColor c = frame.color(x, y);
            put(encoded(c.r, request, integer));
            put(encoded(c.g, request, integer));
            put(encoded(c.b, request, integer));
            // Alpha is a coverage, not a light value: no gamma.
            if (type.channels == Channels::rgba)
                put(integer ? (c.a > 0.0f ? std::min(c.a, 1.0f) : 0.0f) : c.a);
            break;
        }
        case Channels::alpha: {
            const float a = frame.color(x, y).a;
            put(integer ? (a > 0.0f ? std::min(a, 1.0f) : 0.0f) : a);
            break;
        }
        case Channels::depth:
            put(frame.depth(x, y, type.interpolated));
            break;
        case Channels::normal:
            put_vector(frame.normal(x, y, type.interpolated));
            break;
        case Channels::motion:
            put_vector(frame.motion(x, y, type.interpolated));
            break;
        case Channels::label:
            put(0.0f); // labels have a path of their own: a float cannot hold all of them
            break;
        }
    }
}

OIIO::TypeDesc file_type(const PixelType& type) {
    if (type.channels == Channels::label) return OIIO::TypeDesc::UINT32;
    switch (type.depth) {
    case Depth::bits8:
        return OIIO::TypeDesc::UINT8;
    case Depth::bits16:
        return OIIO::TypeDesc::UINT16;
    case Depth::half:
        return OIIO::TypeDesc::HALF;
    case Depth::single:
        return OIIO::TypeDesc::FLOAT;
    }
    return OIIO::TypeDesc::UINT8;
}

OIIO::ImageSpec make_spec(const Frame& frame, const PixelType& type, const WriteRequest& request) {
    OIIO::ImageSpec spec(frame.width(), frame.height(), channel_count(type.channels),
                         file_type(type));
    switch (type.channels) {
    case Channels::alpha:
        spec.channelnames = {"A"};
        spec.alpha_channel = 0;
        break;
    case Channels::depth:
        spec.channelnames = {"Z"};
        spec.z_channel = 0;
        break;
    case Channels::normal:
        spec.channelnames = {"N.x", "N.y", "N.z"};
        break;
    case Channels::motion:
        spec.channelnames = {"M.x", "M.y", "M.z"};
        break;
    case Channels::label:
        spec.channelnames = {"tag"};
        break;
    default:
        break;
    }
    if (!request.compression.empty()) spec.attribute("compression", request.compression);
    if (request.quality > 0) spec.attribute("CompressionQuality", std::min(request.quality, 100));
    if (request.dpi > 0.0f) {
        spec.attribute("XResolution", request.dpi);
        spec.attribute("YResolution", request.dpi);
        spec.attribute("ResolutionUnit", "in");
    }
    // Otherwise formats with unassociated alpha would divide colors by alpha, which is wrong for
    // shaders that leave alpha at 0.
    spec.attribute("oiio:UnassociatedAlpha", 1);
    return spec;
}

// The date of SOURCE_DATE_EPOCH in the form of picture files, or none. Without an attribute
// OpenImageIO stores the time of day. An empty text stores no date; in TIFF files it would be a tag
// of the wrong length, and a value that is no text is left out.
Reason set_date(OIIO::ImageSpec& spec, const std::string& writer) {
    const char* const text = std::getenv("SOURCE_DATE_EPOCH");
    if (text == nullptr || *text == '\0') {
        if (writer == "tiff")
            spec.attribute("DateTime", 0);
        else
            spec.attribute("DateTime", "");
        return std::nullopt;
    }
    const std::string_view digits(text);
    constexpr std::int64_t kEnd = 253402300800; // the year 10000
    std::int64_t seconds = -1;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), seconds);
    if (error != std::errc() || end != digits.end() || seconds < 0 || seconds >= kEnd)
        return fmt::format("SOURCE_DATE_EPOCH is not a number of seconds since 1970: '{}'", text);
    const std::time_t time = seconds;
    std::tm date{};
    gmtime_r(&time, &date);
    spec.attribute("DateTime", fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}",
                                           date.tm_year + 1900, date.tm_mon + 1, date.tm_mday,
                                           date.tm_hour, date.tm_min, date.tm_sec));
    return std::nullopt;
}

// Writes lines made by `fill`: one at a time, or in rows of tiles for formats that require tiles.
template <class Value, class Fill>
bool write_lines(OIIO::ImageOutput& out, const OIIO::TypeDesc& type, const Fill& fill) {
    const OIIO::ImageSpec& spec = out.spec();
    const bool tiles = spec.tile_width > 0;
    const int step = tiles ? spec.tile_height : 1;
    const std::size_t length =
        static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(spec.nchannels);
    std::vector<Value> lines(length * static_cast<std::size_t>(step));
    for (int y = 0; y < spec.height; y += step) {
        const int end = std::min(y + step, spec.height);
        for (int line = y; line < end; ++line)
            fill(std::span(lines).subspan(static_cast<std::size_t>(line - y) * length, length),
                 spec.height - 1 - line);
        if (!(tiles ? out.write_tiles(0, spec.width, y, end, 0, 1, type, lines.data())
                    : out.write_scanline(y, 0, type, lines.data())))
            return false;
    }
    return true;
}

bool write_labels(OIIO::ImageOutput& out, const Frame& frame) {
    const OIIO::TypeDesc format = out.spec().format;
    if (format == OIIO::TypeDesc::UINT32)
        return write_lines<std::uint32_t>(out, format, [&](std::span<std::uint32_t> line, int y) {
            for (int x = 0; x < frame.width(); ++x)
                line[static_cast<std::size_t>(x)] = frame.label(x, y);
        });
    // Formats without 32-bit integers would scale labels like shades of gray.
    const float full = format == OIIO::TypeDesc::UINT8    ? 255.0f
                       : format == OIIO::TypeDesc::UINT16 ? 65535.0f
                                                          : 1.0f;
    return write_lines<float>(out, OIIO::TypeDesc::FLOAT, [&](std::span<float> line, int y) {
        for (int x = 0; x < frame.width(); ++x)
            line[static_cast<std::size_t>(x)] = static_cast<float>(frame.label(x, y)) / full;
    });
}

// Bytes that OpenImageIO's writers leave out or undefined.
void complete(Bytes& bytes, const std::string& writer) {
    if (writer == "iff") {
        // The data of a chunk is padded to a multiple of four bytes; that of the last one is not.
        bytes.resize((bytes.size() + 3) / 4 * 4);
    }
    if (writer == "sgi") {
        // 512 bytes: 24 of values, the picture's name (80), the kind of its colors (4), nothing.
        constexpr std::size_t kName = 24, kNameEnd = 104, kRest = 108, kRestEnd = 512;
        if (bytes.size() < kRestEnd) return;
        std::fill(bytes.begin() + kName, bytes.begin() + kNameEnd, std::uint8_t{0});
        std::fill(bytes.begin() + kRest, bytes.begin() + kRestEnd, std::uint8_t{0});
    }
}

// OpenImageIO takes the kind of JPEG 2000 file from the name; DPX files store it.
std::string name_for(const std::string& writer, const std::string& format) {
    if (writer == "jpeg2000")
        return format == "j2k" || format == "j2c" ? "picture.j2k" : "picture.jp2";
    return "picture." + writer;
}

Reason encode(OIIO::ImageOutput& out, const OIIO::ImageSpec& spec, const std::string& name,
              const PixelType& type, const Frame& frame, const WriteRequest& request) {
    if (!out.open(name, spec)) return out.geterror();
    const bool written =
        type.channels == Channels::label
            ? write_labels(out, frame)
            : write_lines<float>(out, OIIO::TypeDesc::FLOAT, [&](std::span<float> line, int y) {
                  fill_line(line, frame, y, type, request);
              });
    if (!written) {
        std::string reason = out.geterror();
        out.close();
        return reason;
    }
    if (!out.close()) return out.geterror();
    return std::nullopt;
}

// Decodes all pixels.
bool read_lines(OIIO::ImageInput& in, const OIIO::ImageSpec& spec) {
    constexpr int kLines = 64;
    const bool tiles = spec.tile_width > 0;
    const int step = tiles ? spec.tile_height : kLines;
    Bytes lines(spec.scanline_bytes(true) * static_cast<std::size_t>(step));
    for (int y = 0; y < spec.height; y += step) {
        const int begin = spec.y + y;
        const int end = std::min(begin + step, spec.y + spec.height);
        if (!(tiles ? in.read_tiles(0, 0, spec.x, spec.x + spec.width, begin, end, 0, 1, 0,
                                    spec.nchannels, spec.format, lines.data())
                    : in.read_scanlines(0, 0, begin, end, 0, 0, spec.nchannels, spec.format,
                                        lines.data())))
            return false;
    }
    return !in.has_error();
}

Reason verify(OIIO::ImageInput& in, const std::string& name, const OIIO::ImageSpec& wanted) {
    OIIO::ImageSpec spec;
    if (!in.open(name, spec)) return "the result cannot be read: " + in.geterror();
    if (spec.width != wanted.width || spec.height != wanted.height)
        return fmt::format("the result has {} x {} pixels instead of {} x {}", spec.width,
                           spec.height, wanted.width, wanted.height);
    // GIF files come back with alpha in any case.
    if (spec.nchannels < wanted.nchannels)
        return fmt::format("the result has {} channels instead of {}", spec.nchannels,
                           wanted.nchannels);
    if (!read_lines(in, spec)) return "the result cannot be read: " + in.geterror();
    return std::nullopt;
}

Reason verify(Bytes& bytes, const std::string& writer, const std::string& name,
              const OIIO::ImageSpec& wanted) {
    OIIO::Filesystem::IOMemReader memory(bytes.data(), bytes.size());
    const auto in = OIIO::ImageInput::create(writer);
    if (!in) return "the result cannot be read: " + OIIO::geterror();
    if (in->supports("ioproxy")) {
        in->set_ioproxy(&memory);
        return verify(*in, name, wanted);
    }
    MemoryFile file;
    if (Reason reason = file.write(bytes)) return reason;
    return verify(*in, file.path(), wanted);
}

Reason encode_checked(const Frame& frame, const WriteRequest& request, const std::string& writer,
                      Bytes& bytes) {
    if (writer == "jpeg" && std::max(frame.width(), frame.height()) > kMaxJpegSide)
        return fmt::format("more than {} pixels in a direction", kMaxJpegSide);
    bytes.clear();
    OIIO::Filesystem::IOVecOutput memory(bytes); // outlives `out`, whose end may still write to it
    const auto out = OIIO::ImageOutput::create(writer);
    PixelType type = request.type.value_or(best_pixel_type(writer));
    // These two lose the colors where alpha is 0.
    const bool has_alpha = out->supports("alpha") && writer != "gif" && writer != "webp";
    if (type.channels == Channels::rgba && !has_alpha) type.channels = Channels::rgb;
    OIIO::ImageSpec spec = make_spec(frame, type, request);
    if (Reason reason = set_date(spec, writer)) return reason;

    // Formats that cannot be encoded in memory go to a file that exists in memory only.
    const std::string name = name_for(writer, lower_case(request.format));
    if (out->supports("ioproxy")) {
        out->set_ioproxy(&memory);
        if (Reason reason = encode(*out, spec, name, type, frame, request)) return reason;
    } else {
        MemoryFile file;
        if (Reason reason = file.error()) return reason;
        if (Reason reason = encode(*out, spec, file.path(), type, frame, request)) return reason;
        if (Reason reason = file.read(bytes)) return reason;
    }
    complete(bytes, writer);
    return verify(bytes, writer, name, spec);
}

// OpenImageIO's messages may have several lines, or none.
std::string one_line(std::string_view text) {
    std::string line;
    for (const char c : text) {
        if (c != '\n')
            line += c;
        else if (!line.ends_with("; "))
            line += "; ";
    }
    if (line.ends_with("; ")) line.resize(line.size() - 2);
    return line.empty() ? "no reason is given" : line;
}

} // namespace

std::string format_name(std::string_view format) {
    const auto out = OIIO::ImageOutput::create(std::string(writer_name(lower_case(format))));
    if (out) return out->format_name();
    (void)OIIO::geterror();
    return {};
}

bool can_write(const std::string& format) {
    const std::string name = format_name(format);
    return std::find(kFormats.begin(), kFormats.end(), name) != kFormats.end();
}

Reason encode_picture(const Frame& frame, const WriteRequest& request, Bytes& bytes) {
    if (!can_write(request.format))
        return fmt::format("pictures of the format '{}' cannot be written", request.format);
    const Reason reason = encode_checked(frame, request, format_name(request.format), bytes);
    if (!reason) return std::nullopt;
    return fmt::format("cannot be encoded as '{}': {}", request.format, one_line(*reason));
}

} // namespace vx::image::openimageio
