// Whole files: mapped for reading, and written so that they appear whole or not at all.
#pragma once

#include "maps/names.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vx::maps {

// A regular file in memory, read-only. Whoever shortens the file in place while it is mapped takes
// the memory away under its readers; replacing it by renaming, as ReplacedFile does, is safe.
class MappedFile {
  public:
    MappedFile() = default;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    // File_could_not_be_opened for anything but a readable regular file.
    Status open(const char* name);
    const unsigned char* data() const { return m_data; }
    std::size_t size() const { return m_size; }

  private:
    unsigned char* m_data = nullptr;
    std::size_t m_size = 0;
};

// A new content for a file: written beside it and renamed over it by commit, which first makes sure
// that it is on the disk. Without a commit nothing of it is left.
class ReplacedFile {
  public:
    ReplacedFile() = default;
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;
    ~ReplacedFile();

    // File_could_not_be_opened if there can be no such file, or something else is in its place.
    Status open(const char* name);
    // Failures are kept until commit.
    void write(const void* data, std::size_t bytes);
    void write_at(std::size_t offset, const void* data, std::size_t bytes);
    Status commit();

  private:
    void flush();
    bool put(const unsigned char* data, std::size_t bytes);

    int m_file = -1;
    bool m_failed = false;
    std::string m_name;
    std::string m_temporary;
    std::vector<unsigned char> m_buffer;
};

} // namespace vx::maps
