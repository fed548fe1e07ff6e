// The contents of a scene file in memory.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace vx::scene {

// A text followed by at least 16 zero bytes, so that the lexer may look ahead without range checks.
// Gzip-compressed input, including multiple members, is decompressed.
class Source {
  public:
    const char* begin() const { return m_bytes.get(); }
    const char* end() const { return m_bytes.get() + m_size; }
    std::size_t size() const { return m_size; }

    // Returns null and sets `error` if the input cannot be read or decompressed. Compressed data
    // that expands to more than 64 times its size and 64 MiB is an error, and so is a pipe that
    // no process has opened for writing.
    static std::unique_ptr<Source> from_file(const std::string& path, std::string& error);
    static std::unique_ptr<Source> from_descriptor(int descriptor, std::string& error);
    static std::unique_ptr<Source> from_text(std::string_view text, std::string& error);

  private:
    struct Free {
        void operator()(char* p) const { std::free(p); }
    };
    using Bytes = std::unique_ptr<char, Free>;

    // Appends what the descriptor has.
    static std::unique_ptr<Source> read_rest(std::unique_ptr<Source> source, int descriptor,
                                             std::string& error);
    static std::unique_ptr<Source> unpack(std::unique_ptr<Source> packed, std::string& error);
    bool reserve(std::size_t capacity);
    void finish();

    Bytes m_bytes;
    std::size_t m_size = 0, m_capacity = 0;
};

} // namespace vx::scene
