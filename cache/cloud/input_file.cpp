#include "cache/cloud/error.h"
#include "cache/cloud/file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vx::cache {

Descriptor::Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
}

Descriptor::~Descriptor() {
    if (m_fd >= 0) ::close(m_fd);
}

int Descriptor::close() {
    const int fd = std::exchange(m_fd, -1);
    return fd < 0 || ::close(fd) == 0 ? 0 : errno;
}

Descriptor temporary_file() {
    const char* folder = std::getenv("TMPDIR");
    std::string name = std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp");
    name += "/vx_cache.XXXXXX";
    const int fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) throw FileError(name, -1, std::strerror(errno));
    ::unlink(name.c_str());
    return Descriptor(fd);
}

namespace {

void write_all(int fd, const char* data, std::size_t bytes, const std::string& name) {
    while (bytes > 0) {
        const ssize_t done = ::write(fd, data, bytes);
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) throw FileError(name, -1, std::strerror(errno));
        data += done;
        bytes -= static_cast<std::size_t>(done);
    }
}

Descriptor copy_pipe(int from, const std::string& name) {
    Descriptor copy = temporary_file();
    std::vector<char> buffer(1 << 20);
    for (;;) {
        const ssize_t got = ::read(from, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw FileError(name, -1, std::strerror(errno));
        if (got == 0) return copy;
        write_all(copy.get(), buffer.data(), static_cast<std::size_t>(got), name);
    }
}

} // namespace

InputFile::InputFile(const std::string& path) : m_name(path == "-" ? "standard input" : path) {
    m_file =
        Descriptor(path == "-" ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (m_file.get() < 0) throw FileError(m_name, -1, std::strerror(errno));
    struct stat status {};
    if (::fstat(m_file.get(), &status) != 0) throw FileError(m_name, -1, std::strerror(errno));
    if (S_ISDIR(status.st_mode)) throw FileError(m_name, -1, std::strerror(EISDIR));
    if (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)) {
        m_file = copy_pipe(m_file.get(), m_name);
        if (::fstat(m_file.get(), &status) != 0) throw FileError(m_name, -1, std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) throw FileError(m_name, -1, "neither a file nor a pipe");
    m_size = status.st_size;
}

std::size_t InputFile::read_some(std::int64_t offset, void* out, std::size_t bytes) const {
    auto* target = static_cast<char*>(out);
    std::size_t done = 0;
    while (done < bytes) {
        const ssize_t got = ::pread(m_file.get(), target + done, bytes - done,
                                    offset + static_cast<std::int64_t>(done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw FileError(m_name, offset, std::strerror(errno));
        if (got == 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

void InputFile::read(std::int64_t offset, void* out, std::size_t bytes) const {
    if (read_some(offset, out, bytes) < bytes) {
        throw FileError(m_name, offset, "the file ends too early");
    }
}

std::FILE* InputFile::stream() const {
    const int fd = ::dup(m_file.get());
    std::FILE* const file = fd < 0 ? nullptr : ::fdopen(fd, "rb");
    if (file == nullptr) {
        const int why = errno;
        if (fd >= 0) ::close(fd);
        throw FileError(m_name, -1, std::strerror(why));
    }
    std::rewind(file);
    return file;
}

ByteReader::ByteReader(const InputFile& file, std::int64_t begin, std::int64_t end)
    : m_file(file), m_base(begin), m_end(end), m_buffer(1 << 16) {}

bool ByteReader::fill() {
    m_base += static_cast<std::int64_t>(m_filled);
    m_next = m_filled = 0;
    const std::int64_t left = std::min<std::int64_t>(m_end - m_base, std::ssize(m_buffer));
    if (left <= 0) return false;
    m_filled = m_file.read_some(m_base, m_buffer.data(), static_cast<std::size_t>(left));
    return m_filled > 0;
}

bool ByteReader::line(std::string_view& out, std::size_t limit) {
    const std::int64_t start = offset();
    m_line.clear();
    if (peek() < 0) return false;
    for (bool ended = false; !ended && peek() >= 0;) {
        const char* begin = m_buffer.data() + m_next;
        const auto* end = static_cast<const char*>(std::memchr(begin, '\n', m_filled - m_next));
        const std::size_t n =
            end != nullptr ? static_cast<std::size_t>(end - begin) : m_filled - m_next;
        if (m_line.size() + n > limit) {
            throw FileError(m_file.name(), start,
                            "a line of more than " + std::to_string(limit) + " bytes");
        }
        m_line.append(begin, n);
        m_next += n;
        if (end != nullptr) {
            ++m_next;
            ended = true;
        }
    }
    if (!m_line.empty() && m_line.back() == '\r') m_line.pop_back();
    out = m_line;
    return true;
}

} // namespace vx::cache
