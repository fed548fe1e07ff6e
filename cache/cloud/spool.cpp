#include "cache/cloud/spool.h"

#include "cache/cloud/error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace vx::cache {

namespace {
constexpr std::size_t kPieceBytes = 1 << 16;
} // namespace

void Spool::append(const void* data, std::size_t bytes) {
    const auto* source = static_cast<const std::byte*>(data);
    m_tail.insert(m_tail.end(), source, source + bytes);
    if (in_memory()) {
        m_budget->left -= static_cast<std::int64_t>(bytes);
        if (m_budget->left >= 0) return;
        m_budget->left += std::ssize(m_tail);
        m_file = temporary_file();
        spill();
        m_tail.shrink_to_fit();
    } else if (m_tail.size() >= kPieceBytes) {
        spill();
    }
}

void Spool::spill() {
    const std::byte* source = m_tail.data();
    std::size_t left = m_tail.size();
    while (left > 0) {
        const ssize_t done = ::pwrite(m_file.get(), source, left, m_stored);
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) throw FileError("temporary file", -1, std::strerror(errno));
        source += done;
        left -= static_cast<std::size_t>(done);
        m_stored += done;
    }
    m_tail.clear();
}

void Spool::read(std::int64_t offset, void* out, std::size_t bytes) const {
    auto* target = static_cast<std::byte*>(out);
    while (bytes > 0) {
        if (offset >= m_stored) {
            const std::int64_t at = offset - m_stored;
            if (at + static_cast<std::int64_t>(bytes) > std::ssize(m_tail)) {
                throw FileError("temporary file", offset, "read past the end");
            }
            std::memcpy(target, m_tail.data() + at, bytes);
            return;
        }
        const std::size_t want = static_cast<std::size_t>(
            std::min<std::int64_t>(static_cast<std::int64_t>(bytes), m_stored - offset));
        const ssize_t got = ::pread(m_file.get(), target, want, offset);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) throw FileError("temporary file", offset, std::strerror(errno));
        target += got;
        offset += got;
        bytes -= static_cast<std::size_t>(got);
    }
}

} // namespace vx::cache
