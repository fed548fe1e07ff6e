// Writing to a file while the next block is being made.
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

// Writes all bytes at an offset; throws FileError with `name` and the offset of what failed.
void write_at_all(int fd, std::int64_t offset, const char* data, std::size_t bytes,
                  const std::string& name);

// One thread that writes blocks in the order in which they come; it starts with the first of them.
// What fails is thrown by the next call, and all later blocks are dropped.
class WriteBehind {
  public:
    // Both must stay as they are until the end; `name` is for messages.
    WriteBehind(const Descriptor& file, const std::string& name) : m_file(file), m_name(name) {}
    ~WriteBehind();
    WriteBehind(const WriteBehind&) = delete;
    WriteBehind& operator=(const WriteBehind&) = delete;

    // Takes the first `bytes` of the block for writing at `offset`, and gives another block of at
    // least that size in its place. Waits while the block before is still being written.
    void put(std::int64_t offset, std::vector<char>& block, std::size_t bytes);
    // Until everything is written.
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
