// Files that are mapped for reading, and files that are replaced as a whole.
#pragma once

#include "maps/names.h"

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace vx::maps {

// A regular file, mapped read-only. The file must not be truncated in place while it is mapped:
// readers would crash. Replacing it by renaming, as ReplacedFile does, is safe.
class MappedFile {
  public:
    MappedFile() = default;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    // Returns File_could_not_be_opened for anything but a readable regular file.
    Status open(const char* name);
    // The errno of a failed open; 0 if the name belongs to something other than a regular file.
    int error() const { return m_error; }
    const unsigned char* data() const { return m_data; }
    std::size_t size() const { return m_size; }

  private:
    unsigned char* m_data = nullptr;
    std::size_t m_size = 0;
    int m_error = 0;
};

// Replaces a file, or creates it: writes a temporary file in the same folder, which commit()
// flushes to the disk and renames. Without a commit the destructor removes the temporary file.
class ReplacedFile {
  public:
    ReplacedFile() = default;
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;
    ~ReplacedFile();

    // Returns File_could_not_be_opened if the temporary file cannot be created, or if the name
    // belongs to something other than a regular file.
    Status open(const char* name);
    // commit() reports failures of writing.
    void write(const void* data, std::size_t bytes);
    void write_at(std::size_t offset, const void* data, std::size_t bytes);
    Status commit();
    // The errno of the first failure; 0 if the name belongs to something other than a regular file.
    int error() const { return m_error; }

  private:
    void flush();
    void append(const unsigned char* data, std::size_t bytes);
    void put(std::size_t offset, const unsigned char* data, std::size_t bytes);
    void fail();
    void forget() noexcept;

    int m_file = -1;
    bool m_failed = false;
    int m_error = 0;
    std::size_t m_size = 0; // of what was appended to the file
    std::string m_name;
    std::string m_temporary;
    std::atomic<const char*>* m_unfinished = nullptr; // entry in the table of temporary files
    std::vector<unsigned char> m_buffer;
};

} // namespace vx::maps
