#include "host/scene/source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace vx::scene {

namespace {

constexpr std::size_t kPadding = 16;
constexpr std::size_t kGrowth = std::size_t{1} << 20;
// Small files must not expand without limit. Scene texts take about a tenth of their size.
constexpr std::size_t kMaxExpansion = 64;
constexpr std::size_t kAlwaysAllowedSize = std::size_t{64} << 20;

class Descriptor {
  public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() {
        if (m_number >= 0) ::close(m_number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return m_number; }

  private:
    int m_number;
};

std::string reason(int number) {
    return std::strerror(number); // NOLINT(concurrency-mt-unsafe): scenes are read by one thread
}

} // namespace

bool Source::reserve(std::size_t capacity) {
    if (capacity <= m_capacity) return true;
    void* const grown = std::realloc(m_bytes.get(), capacity + kPadding);
    if (grown == nullptr) return false;
    (void)m_bytes.release();
    m_bytes.reset(static_cast<char*>(grown));
    m_capacity = capacity;
    return true;
}

void Source::finish() {
    std::memset(m_bytes.get() + m_size, 0, kPadding);
}

std::unique_ptr<Source> Source::from_file(const std::string& path, std::string& error) {
    // Opening a pipe without a writer must not block.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.number() < 0) {
        error = reason(errno);
        return nullptr;
    }
    auto source = std::make_unique<Source>();
    struct stat status {};
    if (::fstat(file.number(), &status) == 0 && S_ISFIFO(status.st_mode) &&
        source->reserve(kGrowth)) {
        const ssize_t got = ::read(file.number(), source->m_bytes.get(), 1);
        if (got == 0) {
            error = "it is a pipe without a writer";
            return nullptr;
        }
        if (got > 0) source->m_size = 1;
    }
    (void)::fcntl(file.number(), F_SETFL, O_RDONLY);
    return read_rest(std::move(source), file.number(), error);
}

std::unique_ptr<Source> Source::from_descriptor(int descriptor, std::string& error) {
    return read_rest(std::make_unique<Source>(), descriptor, error);
}

std::unique_ptr<Source> Source::read_rest(std::unique_ptr<Source> source, int descriptor,
                                          std::string& error) {
    struct stat status {};
    std::size_t expected = kGrowth;
    // One byte more than the file, so that the end is detected without growing the buffer.
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0)
        expected = static_cast<std::size_t>(status.st_size) + 1;
    for (;;) {
        if (source->m_size == source->m_capacity) {
            const std::size_t wanted = source->m_capacity == 0
                                           ? expected
                                           : source->m_capacity + source->m_capacity / 2 + kGrowth;
            if (!source->reserve(wanted)) {
                error = "out of memory";
                return nullptr;
            }
        }
        const ssize_t got = ::read(descriptor, source->m_bytes.get() + source->m_size,
                                   source->m_capacity - source->m_size);
        // Also if a signal interrupts it: the only handlers are those that end the program.
        if (got < 0) {
            error = reason(errno);
            return nullptr;
        }
        if (got == 0) break;
        source->m_size += static_cast<std::size_t>(got);
    }
    source->finish();
    return unpack(std::move(source), error);
}

std::unique_ptr<Source> Source::from_text(std::string_view text, std::string& error) {
    auto source = std::make_unique<Source>();
    if (!source->reserve(text.size() + 1)) {
        error = "out of memory";
        return nullptr;
    }
    if (!text.empty()) std::memcpy(source->m_bytes.get(), text.data(), text.size());
    source->m_size = text.size();
    source->finish();
    return unpack(std::move(source), error);
}

std::unique_ptr<Source> Source::unpack(std::unique_ptr<Source> packed, std::string& error) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(packed->begin()[i]); };
    if (packed->m_size < 2 || byte(0) != 0x1f || byte(1) != 0x8b) return packed;

    z_stream stream{};
    constexpr int kGzipWindow = 15 + 16;
    if (inflateInit2(&stream, kGzipWindow) != Z_OK) {
        error = "out of memory";
        return nullptr;
    }
    const auto close_stream = [](z_stream* s) { inflateEnd(s); };
    const std::unique_ptr<z_stream, decltype(close_stream)> closer(&stream, close_stream);

    auto plain = std::make_unique<Source>();
    std::size_t used = 0;
    int status = Z_OK;
    while (status != Z_STREAM_END || used < packed->m_size) {
        if (status == Z_STREAM_END) inflateReset(&stream);
        if (plain->m_size == plain->m_capacity) {
            const std::size_t limit = std::max(kAlwaysAllowedSize, packed->m_size * kMaxExpansion);
            const std::size_t wanted =
                plain->m_capacity == 0 ? packed->m_size * 4 + kGrowth : plain->m_capacity * 2;
            if (plain->m_capacity > limit) {
                error = "decompressed data is too large (more than " + std::to_string(limit) +
                        " bytes from " + std::to_string(packed->m_size) + ")";
                return nullptr;
            }
            if (!plain->reserve(std::min(wanted, limit + 1))) {
                error = "out of memory";
                return nullptr;
            }
        }
        constexpr std::size_t kMaxStep = std::size_t{1} << 30;
        const std::size_t in = std::min(packed->m_size - used, kMaxStep);
        const std::size_t out = std::min(plain->m_capacity - plain->m_size, kMaxStep);
        stream.next_in = reinterpret_cast<Bytef*>(packed->m_bytes.get() + used);
        stream.avail_in = static_cast<uInt>(in);
        stream.next_out = reinterpret_cast<Bytef*>(plain->m_bytes.get() + plain->m_size);
        stream.avail_out = static_cast<uInt>(out);
        status = inflate(&stream, Z_NO_FLUSH);
        used += in - stream.avail_in;
        plain->m_size += out - stream.avail_out;
        const bool stuck = stream.avail_in == in && stream.avail_out == out;
        if ((status != Z_OK && status != Z_STREAM_END) || stuck) {
            error =
                used == packed->m_size ? "truncated compressed data" : "corrupt compressed data";
            return nullptr;
        }
    }
    plain->finish();
    return plain;
}

} // namespace vx::scene
