#include "cache/cloud/write_behind.h"

#include "cache/cloud/error.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <unistd.h>

namespace vx::cache {

void write_at_all(int fd, std::int64_t offset, const char* data, std::size_t bytes,
                  const std::string& name) {
    while (bytes > 0) {
        const ssize_t done = ::pwrite(fd, data, bytes, offset);
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) throw FileError(name, offset, std::strerror(errno));
        data += done;
        offset += done;
        bytes -= static_cast<std::size_t>(done);
    }
}

WriteBehind::~WriteBehind() {
    if (!m_thread.joinable()) return;
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void WriteBehind::put(std::int64_t offset, std::vector<char>& block, std::size_t bytes) {
    if (!m_thread.joinable()) {
        try {
            m_thread = std::thread([this] { run(); });
        } catch (const std::system_error&) {
            write_at_all(m_file.get(), offset, block.data(), bytes, m_name);
            return;
        }
    }
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_bytes == 0; });
        rethrow();
        std::swap(m_block, block);
        m_bytes = bytes;
        m_offset = offset;
    }
    m_changed.notify_all();
    if (block.size() < bytes) block.resize(bytes);
}

void WriteBehind::wait() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_bytes == 0; });
    rethrow();
}

void WriteBehind::rethrow() {
    if (m_failure) std::rethrow_exception(m_failure);
}

void WriteBehind::run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_bytes > 0 || m_stop; });
        if (m_bytes == 0) return;
        lock.unlock();
        std::exception_ptr failure;
        try {
            // After a failure the remaining data is discarded.
            if (!m_failure) write_at_all(m_file.get(), m_offset, m_block.data(), m_bytes, m_name);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        if (failure) m_failure = failure;
        m_bytes = 0;
        m_changed.notify_all();
    }
}

} // namespace vx::cache
