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

constexpr std::size_t padding = 16;
constexpr std::size_t chunk = std::size_t{1} << 20;
// A scene larger than this when unpacked is taken for a decompression bomb.
constexpr std::size_t unpacked_limit = std::size_t{1} << 36;

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

  private:
    int number_;
};

std::string reason(int number) {
    return std::strerror(number); // NOLINT(concurrency-mt-unsafe): reading is one thread's work
}

} // namespace

bool Source::reserve(std::size_t capacity) {
    if (capacity <= capacity_) return true;
    void* const grown = std::realloc(bytes_.get(), capacity + padding);
    if (!grown) return false;
    (void)bytes_.release();
    bytes_.reset(static_cast<char*>(grown));
    capacity_ = capacity;
    return true;
}

void Source::finish() {
    std::memset(bytes_.get() + size_, 0, padding);
}

std::unique_ptr<Source> Source::from_file(const std::string& path, std::string& error) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.number() < 0) {
        error = reason(errno);
        return nullptr;
    }
    return from_descriptor(file.number(), error);
}

std::unique_ptr<Source> Source::from_descriptor(int descriptor, std::string& error) {
    auto source = std::make_unique<Source>();
    struct stat status {};
    std::size_t expected = chunk;
    // One byte more than the file has, so that its end is seen without growing.
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0)
        expected = static_cast<std::size_t>(status.st_size) + 1;
    for (;;) {
        if (source->size_ == source->capacity_) {
            const std::size_t wanted = source->capacity_ == 0
                                           ? expected
                                           : source->capacity_ + source->capacity_ / 2 + chunk;
            if (!source->reserve(wanted)) {
                error = "out of memory";
                return nullptr;
            }
        }
        const ssize_t got = ::read(descriptor, source->bytes_.get() + source->size_,
                                   source->capacity_ - source->size_);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            error = reason(errno);
            return nullptr;
        }
        if (got == 0) break;
        source->size_ += static_cast<std::size_t>(got);
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
    if (!text.empty()) std::memcpy(source->bytes_.get(), text.data(), text.size());
    source->size_ = text.size();
    source->finish();
    return unpack(std::move(source), error);
}

std::unique_ptr<Source> Source::unpack(std::unique_ptr<Source> packed, std::string& error) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(packed->begin()[i]); };
    if (packed->size_ < 2 || byte(0) != 0x1f || byte(1) != 0x8b) return packed;

    z_stream stream{};
    constexpr int gzip_window = 15 + 16;
    if (inflateInit2(&stream, gzip_window) != Z_OK) {
        error = "out of memory";
        return nullptr;
    }
    const auto close_stream = [](z_stream* s) { inflateEnd(s); };
    const std::unique_ptr<z_stream, decltype(close_stream)> closer(&stream, close_stream);

    auto plain = std::make_unique<Source>();
    std::size_t used = 0;
    int status = Z_OK;
    while (status != Z_STREAM_END || used < packed->size_) {
        if (status == Z_STREAM_END) inflateReset(&stream);
        if (plain->size_ == plain->capacity_) {
            const std::size_t wanted =
                plain->capacity_ == 0 ? packed->size_ * 4 + chunk : plain->capacity_ * 2;
            if (wanted > unpacked_limit || !plain->reserve(wanted)) {
                error = "unpacks to more than memory holds";
                return nullptr;
            }
        }
        constexpr std::size_t step = std::size_t{1} << 30;
        const std::size_t in = std::min(packed->size_ - used, step);
        const std::size_t out = std::min(plain->capacity_ - plain->size_, step);
        stream.next_in = reinterpret_cast<Bytef*>(packed->bytes_.get() + used);
        stream.avail_in = static_cast<uInt>(in);
        stream.next_out = reinterpret_cast<Bytef*>(plain->bytes_.get() + plain->size_);
        stream.avail_out = static_cast<uInt>(out);
        status = inflate(&stream, Z_NO_FLUSH);
        used += in - stream.avail_in;
        plain->size_ += out - stream.avail_out;
        const bool stuck = stream.avail_in == in && stream.avail_out == out;
        if ((status != Z_OK && status != Z_STREAM_END) || stuck) {
            error = used == packed->size_ ? "compressed data ends too early"
                                          : "compressed data is damaged";
            return nullptr;
        }
    }
    plain->finish();
    return plain;
}

} // namespace vx::scene
