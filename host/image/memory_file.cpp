#include "host/image/memory_file.h"

#include <cerrno>
#include <string>
#include <system_error>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vx::image {

namespace {

using Reason = std::optional<std::string>;

Reason memory_error(int error) {
    return "a file in memory cannot be used: " + std::generic_category().message(error);
}

} // namespace

MemoryFile::MemoryFile()
    : m_file(::memfd_create("picture", MFD_CLOEXEC)), m_error(m_file < 0 ? errno : 0) {}

MemoryFile::~MemoryFile() {
    if (m_file >= 0) (void)::close(m_file);
}

Reason MemoryFile::error() const {
    return m_error == 0 ? Reason() : memory_error(m_error);
}

std::string MemoryFile::path() const {
    return "/proc/self/fd/" + std::to_string(m_file);
}

Reason MemoryFile::write(std::span<const unsigned char> bytes) {
    if (m_error != 0) return error();
    if (::ftruncate(m_file, 0) != 0) return memory_error(errno);
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t n =
            ::pwrite(m_file, bytes.data() + at, bytes.size() - at, static_cast<off_t>(at));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return memory_error(n < 0 ? errno : EIO);
        at += static_cast<std::size_t>(n);
    }
    return std::nullopt;
}

Reason MemoryFile::read(std::vector<unsigned char>& bytes) const {
    if (m_error != 0) return error();
    struct stat status {};
    if (::fstat(m_file, &status) != 0) return memory_error(errno);
    bytes.resize(static_cast<std::size_t>(status.st_size));
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t n =
            ::pread(m_file, bytes.data() + at, bytes.size() - at, static_cast<off_t>(at));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return memory_error(n < 0 ? errno : EIO);
        at += static_cast<std::size_t>(n);
    }
    return std::nullopt;
}

} // namespace vx::image
