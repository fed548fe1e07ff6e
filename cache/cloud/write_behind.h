/// @file
/// Writing to a file in the background.
#pragma once

#include "cache/cloud/file.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vx::cache {

/// Writes all bytes at an offset.
/// @param name  the file's, for the error
/// @throws FileError  at the offset of the first byte that was not written
void write_at_all(int fd, std::int64_t offset, const char* data, std::size_t bytes,
                  const std::string& name);

/// A thread that writes blocks in the order of the calls. It is started by the first one. A failure
/// is thrown by all later calls; their blocks are dropped.
class WriteBehind {
  public:
    /// Both must outlive the object. `name` is for messages.
    WriteBehind(const Descriptor& file, const std::string& name) : m_file(file), m_name(name) {}
    ~WriteBehind();
    WriteBehind(const WriteBehind&) = delete;
    WriteBehind& operator=(const WriteBehind&) = delete;

    /// Waits until the previous block is written, and takes the first `bytes` bytes of `block` to
    /// write them at `offset`.
    /// @param block  replaced by another block of at least `bytes` bytes
    /// @throws FileError  if an earlier block could not be written
    void put(std::int64_t offset, std::vector<char>& block, std::size_t bytes);
    /// Waits until everything is written.
    /// @throws FileError
    void wait();

  private:
    void run();
    void rethrow();

    const Descriptor& m_file;
    const std::string& m_name;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<char> m_block; // being written while m_bytes is above 0
    std::size_t m_bytes = 0;
    std::int64_t m_offset = 0;
    bool m_stop = false;
    std::exception_ptr m_failure;
    std::thread m_thread;
};

} // namespace vx::cache
