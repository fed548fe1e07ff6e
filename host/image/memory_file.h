// A file without a place on a disk, for libraries that read and write by file name only.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vx::image {

// The file exists as long as the object. Functions return the reason when they fail.
class MemoryFile {
  public:
    MemoryFile();
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    // Whether the file could not be made.
    [[nodiscard]] std::optional<std::string> error() const;
    // A name under which this process can open it.
    [[nodiscard]] std::string path() const;
    // Replaces the contents.
    [[nodiscard]] std::optional<std::string> write(std::span<const unsigned char> bytes);
    // The contents.
    [[nodiscard]] std::optional<std::string> read(std::vector<unsigned char>& bytes) const;

  private:
    int m_file;
    int m_error;
};

} // namespace vx::image
