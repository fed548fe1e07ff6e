#include "maps/io.h"

#include "maps/interface.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vx::maps {

namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 20;

// Names of the temporary files that exist, for remove_unfinished_files(). Further ones are not
// removed.
constexpr std::size_t kMaxUnfinished = 64;
std::array<std::atomic<const char*>, kMaxUnfinished> unfinished_files;

std::atomic<const char*>* remember(const char* name) {
    for (std::atomic<const char*>& entry : unfinished_files) {
        const char* none = nullptr;
        if (entry.compare_exchange_strong(none, name)) return &entry;
    }
    return nullptr;
}

} // namespace

void remove_unfinished_files() noexcept {
    // The names must not be freed meanwhile, so forget() waits for what is taken from the table.
    for (std::atomic<const char*>& entry : unfinished_files)
        if (const char* const name = entry.exchange(nullptr)) ::unlink(name);
}

MappedFile::~MappedFile() {
    if (m_data != nullptr) munmap(m_data, m_size);
}

Status MappedFile::open(const char* name) {
    // Opening a pipe without a writer must not block.
    const int file = ::open(name != nullptr ? name : "", O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        m_error = errno;
        return Map_status::File_could_not_be_opened;
    }
    struct stat info {};
    Status status = Map_status::OK;
    if (fstat(file, &info) != 0 || !S_ISREG(info.st_mode)) {
        status = Map_status::File_could_not_be_opened;
    } else if (info.st_size > 0) {
        const auto size = static_cast<std::size_t>(info.st_size);
        void* const data = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file, 0);
        if (data == MAP_FAILED) {
            status = Map_status::Insufficient_memory;
        } else {
            m_data = static_cast<unsigned char*>(data);
            m_size = size;
        }
    }
    ::close(file);
    return status;
}

ReplacedFile::~ReplacedFile() {
    if (m_file >= 0) {
        ::close(m_file);
        ::unlink(m_temporary.c_str());
        forget();
    }
}

void ReplacedFile::forget() noexcept {
    if (m_unfinished == nullptr) return;
    const char* name = m_temporary.c_str();
    // The process is ending, and its handler uses the name.
    if (!m_unfinished->compare_exchange_strong(name, nullptr))
        for (;;)
            ::pause();
    m_unfinished = nullptr;
}

Status ReplacedFile::open(const char* name) {
    if (name == nullptr || !*name) {
        m_error = ENOENT;
        return Map_status::File_could_not_be_opened;
    }
    m_name = name;
    mode_t mode = 0666;
    struct stat info {};
    const bool exists = ::stat(name, &info) == 0;
    if (exists) {
        if (!S_ISREG(info.st_mode)) return Map_status::File_could_not_be_opened;
        mode = info.st_mode & 07777;
        // Replace the target of a symbolic link, not the link.
        const std::unique_ptr<char, decltype(&std::free)> real(::realpath(name, nullptr),
                                                               &std::free);
        if (real) m_name = real.get();
    }
    static std::atomic<unsigned> number{0};
    m_temporary =
        m_name + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(number.fetch_add(1));
    m_file = ::open(m_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (m_file < 0) {
        m_error = errno;
        return Map_status::File_could_not_be_opened;
    }
    m_unfinished = remember(m_temporary.c_str());
    if (exists && ::fchmod(m_file, mode) != 0) fail();
    m_buffer.reserve(kBufferSize);
    return Map_status::OK;
}

// Keeps the reason of the first failure; later ones follow from it.
void ReplacedFile::fail() {
    if (!m_failed) m_error = errno;
    m_failed = true;
}

void ReplacedFile::put(std::size_t offset, const unsigned char* data, std::size_t bytes) {
    while (bytes > 0 && !m_failed) {
        const ssize_t written = ::pwrite(m_file, data, bytes, static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) continue;
        if (written == 0) errno = ENOSPC;
        if (written <= 0) return fail();
        data += written;
        offset += static_cast<std::size_t>(written);
        bytes -= static_cast<std::size_t>(written);
    }
}

void ReplacedFile::append(const unsigned char* data, std::size_t bytes) {
    put(m_size, data, bytes);
    m_size += bytes;
}

void ReplacedFile::flush() {
    append(m_buffer.data(), m_buffer.size());
    m_buffer.clear();
}

void ReplacedFile::write(const void* data, std::size_t bytes) {
    const auto* const from = static_cast<const unsigned char*>(data);
    if (m_buffer.size() + bytes > kBufferSize) flush();
    if (bytes >= kBufferSize) {
        append(from, bytes);
    } else {
        m_buffer.insert(m_buffer.end(), from, from + bytes);
    }
}

void ReplacedFile::write_at(std::size_t offset, const void* data, std::size_t bytes) {
    flush();
    put(offset, static_cast<const unsigned char*>(data), bytes);
}

Status ReplacedFile::commit() {
    flush();
    if (::fsync(m_file) != 0) fail();
    if (::close(m_file) != 0) fail();
    m_file = -1;
    if (!m_failed && ::rename(m_temporary.c_str(), m_name.c_str()) != 0) fail();
    if (m_failed) ::unlink(m_temporary.c_str());
    forget();
    if (m_failed) return Map_status::Failure;
    // Flush the folder so that the new name survives a crash. Not all file systems support this.
    const std::size_t slash = m_name.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : m_name.substr(0, slash + 1);
    const int directory = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        (void)::fsync(directory);
        ::close(directory);
    }
    return Map_status::OK;
}

} // namespace vx::maps
