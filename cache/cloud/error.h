/// @file
/// The exceptions of the library.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace vx::cache {

/// A file cannot be read or written. what() is the reason alone.
class FileError : public std::runtime_error {
  public:
    FileError(std::string file_name, std::int64_t byte_offset, const std::string& why)
        : std::runtime_error(why), file(std::move(file_name)), offset(byte_offset) {}

    /// "FILE: byte OFFSET: why", or "FILE: why".
    std::string text() const {
        return file + (offset < 0 ? "" : ": byte " + std::to_string(offset)) + ": " + what();
    }

    std::string file;
    std::int64_t offset; ///< of the offending bytes, or -1
};

/// The request is invalid. The program exits with status 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace vx::cache
