// Why a file could not be read or written.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace vx::cache {

// what() is the reason alone; offset is that of the offending item, -1 where there is none.
class FileError : public std::runtime_error {
  public:
    FileError(std::string file_name, std::int64_t byte_offset, const std::string& why)
        : std::runtime_error(why), file(std::move(file_name)), offset(byte_offset) {}

    // "FILE: byte OFFSET: why"
    std::string text() const {
        return file + (offset < 0 ? "" : ": byte " + std::to_string(offset)) + ": " + what();
    }

    std::string file;
    std::int64_t offset;
};

// A command line that is not valid. The program ends with status 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace vx::cache
