#include "cache/formats/mrmap.h"

#include <array>
#include <bit>
#include <cctype>
#include <cstring>
#include <string_view>

namespace vx::cache {

namespace {

constexpr std::string_view kMagic("VXMAP\r\n\x1a", 8);
constexpr std::int64_t kHeaderBytes = 64;
constexpr std::int64_t kChecksumOffset = 56;
constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15u;

std::uint64_t word_at(const char* bytes) {
    std::uint64_t word = 0;
    for (int k = 7; k >= 0; --k)
        word = word << 8 | static_cast<unsigned char>(bytes[k]);
    return word;
}

// See docs/map-format.md. The size is a multiple of 64.
std::uint64_t checksum(const InputFile& file) {
    std::array<std::uint64_t, 8> lanes{};
    for (std::size_t i = 0; i < 8; ++i)
        lanes[i] = kFactor * (i + 1);
    std::vector<char> block(std::size_t{1} << 20);
    for (std::int64_t at = 0; at < file.size();) {
        const std::size_t got = file.read_some(at, block.data(), block.size());
        if (at == 0) std::memset(&block[kChecksumOffset], 0, 8);
        for (std::size_t i = 0; i + 8 <= got; i += 8) {
            std::uint64_t& lane = lanes[i / 8 % 8];
            lane = std::rotl((lane ^ word_at(&block[i])) * kFactor, 29);
        }
        if (got == 0) break;
        at += static_cast<std::int64_t>(got);
    }
    auto sum = static_cast<std::uint64_t>(file.size());
    for (const std::uint64_t lane : lanes)
        sum = std::rotl((sum ^ lane) * kFactor, 29);
    return sum;
}

// Whether a text ends with the words "end map", apart from blanks and comments.
bool has_end(const InputFile& file) {
    std::string last;
    std::string before;
    ByteReader reader(file, 0, file.size());
    for (int c = reader.get(); c >= 0; c = reader.get()) {
        if (c == '#') {
            while (c >= 0 && c != '\n')
                c = reader.get();
        } else if (std::isspace(c) == 0) {
            before = std::move(last);
            last.clear();
            for (; c >= 0 && std::isspace(c) == 0; c = reader.get()) {
                if (last.size() < 8) last += static_cast<char>(c);
            }
        }
    }
    return before == "end" && last == "map";
}

} // namespace

MapDamage find_map_damage(const InputFile& file) {
    std::array<char, kHeaderBytes> head{};
    const std::size_t got = file.read_some(0, head.data(), head.size());
    const std::string_view start(head.data(), std::min(got, kMagic.size()));
    if (got == 0) return {0, "the file is empty"};
    if (start != kMagic.substr(0, start.size())) {
        if (has_end(file)) return {};
        return {file.size(), "the file ends before \"end map\""};
    }
    if (file.size() < kHeaderBytes) return {file.size(), "the file ends inside its header"};
    if (word_at(&head[8]) != (std::uint64_t{1} << 32 | 0x01020304u)) {
        return {8, "the byte order or the version is not that of a map file"};
    }
    const std::uint64_t size = word_at(&head[32]);
    const auto has = static_cast<std::uint64_t>(file.size());
    if (has < size) {
        return {file.size(), "the file ends here, its header gives a size of " +
                                 std::to_string(size) + " bytes"};
    }
    if (has > size) {
        return {static_cast<std::int64_t>(size),
                std::to_string(has - size) + " bytes after the end that the header gives"};
    }
    if (has % 64 != 0) return {32, "the size is not a multiple of 64"};
    if (word_at(&head[kChecksumOffset]) != checksum(file)) {
        return {kChecksumOffset, "the checksum is not that of the file: some of its bytes changed"};
    }
    return {};
}

} // namespace vx::cache
