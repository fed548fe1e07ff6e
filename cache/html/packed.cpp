#include "cache/html/packed.h"

#include "cache/cloud/error.h"

#include <new>

#include <zlib.h>

namespace vx::cache {

namespace {

// A multiple of three, so that only the last element is padded.
constexpr std::size_t kElementBytes = 3 * (std::size_t{1} << 18);

void append_base64(std::string& text, std::span<const unsigned char> bytes) {
    static constexpr char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t begin = text.size();
    text.resize(begin + (bytes.size() + 2) / 3 * 4, '=');
    char* to = text.data() + begin;
    for (std::size_t i = 0; i < bytes.size(); i += 3, to += 4) {
        const std::size_t left = bytes.size() - i;
        const unsigned v = static_cast<unsigned>(bytes[i] << 16) |
                           (left > 1 ? static_cast<unsigned>(bytes[i + 1] << 8) : 0U) |
                           (left > 2 ? bytes[i + 2] : 0U);
        to[0] = kDigits[v >> 18];
        to[1] = kDigits[v >> 12 & 63];
        if (left > 1) to[2] = kDigits[v >> 6 & 63];
        if (left > 2) to[3] = kDigits[v & 63];
    }
}

} // namespace

struct PackedElements::Stream {
    z_stream z{};
};

PackedElements::PackedElements(OutputFile& out, std::size_t index)
    : m_out(out),
      m_open("<script type=\"application/octet-stream\" data-attribute=\"" + std::to_string(index) +
             "\">"),
      m_stream(std::make_unique<Stream>()),
      m_packed(kElementBytes) {
    // Higher levels hardly compress floats further.
    if (deflateInit(&m_stream->z, 1) != Z_OK) throw std::bad_alloc();
}

PackedElements::~PackedElements() {
    deflateEnd(&m_stream->z);
}

void PackedElements::write(std::span<const std::byte> bytes) {
    // zlib's sizes have 32 bits.
    constexpr std::size_t kMost = std::size_t{1} << 30;
    for (; bytes.size() > kMost; bytes = bytes.subspan(kMost))
        deflate_some(bytes.first(kMost), false);
    deflate_some(bytes, false);
}

void PackedElements::finish() {
    deflate_some({}, true);
    if (m_filled > 0) put_element();
}

void PackedElements::deflate_some(std::span<const std::byte> bytes, bool end) {
    z_stream& z = m_stream->z;
    // zlib does not write to its input.
    z.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(bytes.data()));
    z.avail_in = static_cast<uInt>(bytes.size());
    int status = Z_OK;
    do {
        z.next_out = m_packed.data() + m_filled;
        z.avail_out = static_cast<uInt>(kElementBytes - m_filled);
        status = deflate(&z, end ? Z_FINISH : Z_NO_FLUSH);
        m_filled = kElementBytes - z.avail_out;
        if (m_filled == kElementBytes) put_element();
    } while (end ? status != Z_STREAM_END : z.avail_in > 0);
}

void PackedElements::put_element() {
    m_text = m_open;
    append_base64(m_text, std::span(m_packed).first(m_filled));
    m_text += "</script>\n";
    m_out.write(m_text);
    m_filled = 0;
}

} // namespace vx::cache
