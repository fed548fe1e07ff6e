// An independent writer of PDC bytes, and streams over bytes. It shares nothing with the code under
// test: numbers are taken apart by shifts.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace pdc_bytes {

class Bytes {
  public:
    std::string text;

    Bytes& raw(std::string_view s) {
        text += s;
        return *this;
    }
    // A literal, with the zero bytes that it spells out.
    template <std::size_t N>
    Bytes& raw(const char (&literal)[N]) {
        return raw(std::string_view(literal, N - 1));
    }
    Bytes& bits(std::uint64_t v, int bytes) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
            text += static_cast<char>(static_cast<unsigned char>((v >> shift) & 0xff));
        }
        return *this;
    }
    Bytes& i32(std::int64_t v) { return bits(static_cast<std::uint64_t>(v) & 0xffffffffu, 4); }
    Bytes& f64(double v) {
        std::uint64_t u = 0;
        std::memcpy(&u, &v, sizeof u);
        return bits(u, 8);
    }
    Bytes& header(std::int64_t particles, std::int64_t attributes) {
        return raw("PDC ").i32(1).i32(1).i32(0).i32(0).i32(particles).i32(attributes);
    }
    Bytes& record(std::string_view name, std::int64_t code) {
        return i32(static_cast<std::int64_t>(name.size())).raw(name).i32(code);
    }
    Bytes& doubles(const std::vector<double>& values) {
        for (const double v : values)
            f64(v);
        return *this;
    }
};

// The seven attributes of a baked cache of two points.
inline Bytes seven_attributes() {
    Bytes b;
    b.header(2, 7);
    b.record("opacityPP", 3).doubles({0.5, 1.0});
    b.record("radius", 3).doubles({0.25, 0.25});
    b.record("id", 3).doubles({0, 1});
    b.record("tag", 3).doubles({-3, 70000});
    b.record("position", 5).doubles({1, 2, 3, -4, -5, -6});
    b.record("rgbPP", 5).doubles({0.125, 0.25, 0.5, 1, 2, 4});
    b.record("normalPP", 5).doubles({0, 0, 1, 0, -1, 0});
    return b;
}

struct CloseFile {
    void operator()(std::FILE* f) const { (void)std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// A seekable temporary file that holds the bytes, at its start.
inline File file_of(const std::string& bytes) {
    File f(std::tmpfile());
    if (f != nullptr) {
        (void)std::fwrite(bytes.data(), 1, bytes.size(), f.get());
        std::rewind(f.get());
    }
    return f;
}

inline std::string contents(std::FILE* f) {
    std::rewind(f);
    std::string all;
    for (int c = std::fgetc(f); c != EOF; c = std::fgetc(f))
        all += static_cast<char>(c);
    return all;
}

} // namespace pdc_bytes
