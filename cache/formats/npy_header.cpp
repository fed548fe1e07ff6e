#include "cache/formats/npy_header.h"

#include "cache/cloud/bytes.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

namespace vx::cache {

namespace {

constexpr std::string_view kSignature = "\x93NUMPY";

// The text behind a key of the dictionary.
std::string_view value_of(std::string_view dictionary, std::string_view key) {
    const std::size_t at = dictionary.find(key);
    if (at == std::string_view::npos) return {};
    const std::size_t colon = dictionary.find(':', at + key.size());
    if (colon == std::string_view::npos) return {};
    return dictionary.substr(
        std::min(dictionary.find_first_not_of(' ', colon + 1), dictionary.size()));
}

// The extents of "(3, 4)", and the bytes of all values. Returns why it is invalid.
std::string parse_shape(std::string_view text, NpyLayout& out) {
    out.bytes = out.size;
    const char* at = text.data() + 1;
    const char* const end = text.data() + std::min(text.find(')'), text.size());
    while (at < end) {
        while (at < end && (*at == ' ' || *at == ','))
            ++at;
        if (at == end) break;
        std::int64_t extent = 0;
        const auto [next, error] = std::from_chars(at, end, extent);
        if (error != std::errc{} || extent < 0 || next == at) return "its shape is damaged";
        at = next;
        out.shape.push_back(extent);
        if (extent > 0 && out.bytes > std::numeric_limits<std::int64_t>::max() / extent) {
            return "its shape is larger than any file";
        }
        out.bytes *= extent;
    }
    return {};
}

} // namespace

std::optional<NpyPrefix> parse_npy_prefix(std::string_view start) {
    if (!start.starts_with(kSignature)) return std::nullopt;
    // From version 2 on, the length has four bytes.
    const bool is_long = start[6] >= 2;
    NpyPrefix prefix;
    prefix.bytes = is_long ? kMostNpyPrefixBytes : kLeastNpyPrefixBytes;
    prefix.dictionary = static_cast<std::int64_t>(little_endian_at(start, 8, is_long ? 4 : 2));
    return prefix;
}

Type NpyLayout::model_type() const {
    if (kind == 'f') return size == 8 ? Type::float64 : Type::float32;
    const bool small = size < 4 || (size == 4 && kind != 'u');
    return small ? Type::int32 : Type::int64;
}

std::string parse_npy_dictionary(std::string_view text, NpyLayout& out) {
    constexpr std::string_view kKnown[] = {"b1", "i1", "u1", "i2", "u2", "i4",
                                           "u4", "i8", "u8", "f2", "f4", "f8"};
    const std::string_view type = value_of(text, "'descr'");
    const std::string_view order = value_of(text, "'fortran_order'");
    const std::string_view shape = value_of(text, "'shape'");
    if (type.size() < 5 || order.empty() || shape.empty() || shape[0] != '(') {
        return "its header is damaged";
    }
    out.fortran = order.starts_with("True");
    out.type_text = std::string(type.substr(0, type.find(','))).substr(0, 60);
    const std::string_view word = type.substr(1, type.find_first_of("'\"", 1) - 1);
    out.known = type[0] == '\'' && word.size() == 3 &&
                std::find(std::begin(kKnown), std::end(kKnown), word.substr(1)) != std::end(kKnown);
    if (!out.known) return {};
    out.big = word[0] == '>';
    out.kind = word[1];
    out.size = word[2] - '0';
    return parse_shape(shape, out);
}

std::string npy_header(const Attribute& attribute, std::int64_t count) {
    constexpr std::string_view kWords[] = {"<i4", "<i8", "<f4", "<f8"};
    const int width = attribute.width;
    std::string shape;
    if (attribute.single) {
        shape = width == 1 ? "()" : "(1, " + std::to_string(width) + ")";
    } else {
        shape =
            "(" + std::to_string(count) + (width == 1 ? ",)" : ", " + std::to_string(width) + ")");
    }
    std::string text = "{'descr': '" +
                       std::string(kWords[static_cast<std::size_t>(attribute.type)]) +
                       "', 'fortran_order': False, 'shape': " + shape + ", }";
    // The values begin at a multiple of 64.
    text.resize((10 + text.size() + 1 + 63) / 64 * 64 - 11, ' ');
    text += '\n';
    std::string out(kSignature);
    append_little_endian(out, 1, 2); // version 1.0
    append_little_endian(out, text.size(), 2);
    return out + text;
}

} // namespace vx::cache
