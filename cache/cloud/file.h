// Files: input at any offset, also from pipes; output that appears whole or not at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

// Owns an open file descriptor.
class Descriptor {
  public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();
    int get() const { return m_fd; }
    // Returns errno of a failed close(2), else 0.
    int close();

  private:
    int m_fd;
};

// An unlinked file in the directory for temporary files. Throws FileError.
Descriptor temporary_file();

// A file that is read at any offset. A pipe is copied to a temporary file first. Directories and
// devices are refused.
class InputFile {
  public:
    // Throws FileError. "-" is the standard input.
    explicit InputFile(const std::string& path);

    const std::string& name() const { return m_name; }
    std::int64_t size() const { return m_size; }
    // Throws FileError at `offset` when there are fewer bytes.
    void read(std::int64_t offset, void* out, std::size_t bytes) const;
    // Reads up to `bytes` bytes, fewer at the end of the file. Returns how many.
    std::size_t read_some(std::int64_t offset, void* out, std::size_t bytes) const;
    // A new stream at the start of the same file, which the caller closes.
    std::FILE* stream() const;
    int descriptor() const { return m_file.get(); }

  private:
    std::string m_name;
    Descriptor m_file;
    std::int64_t m_size = 0;
};

// Reads a file from front to back and keeps track of the offset.
class ByteReader {
  public:
    ByteReader(const InputFile& file, std::int64_t begin, std::int64_t end);

    // -1 at the end.
    int peek() {
        if (m_next == m_filled && !fill()) return -1;
        return static_cast<unsigned char>(m_buffer[m_next]);
    }
    int get() {
        const int c = peek();
        if (c >= 0) ++m_next;
        return c;
    }
    std::int64_t offset() const { return m_base + static_cast<std::int64_t>(m_next); }
    std::int64_t end() const { return m_end; }
    const InputFile& file() const { return m_file; }
    // The rest of the line without its end; false at the end of the file. Throws FileError for
    // lines of more than `limit` bytes. The view is valid until the next call.
    bool line(std::string_view& out, std::size_t limit);

  private:
    bool fill();

    const InputFile& m_file;
    std::int64_t m_base; // offset of m_buffer[0]
    std::int64_t m_end;
    std::size_t m_next = 0;
    std::size_t m_filled = 0;
    std::vector<char> m_buffer;
    std::string m_line;
};

class WriteBehind;

// Written to a temporary file in the same folder, which commit() moves to its name. Without
// commit() the destructor removes it. A device or a pipe receives all bytes at commit().
class OutputFile {
  public:
    // Throws FileError, also when the file is there and `force` is not given.
    OutputFile(std::string path, bool force);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    // Appends through blocks, which a thread writes while the next one is filled. A failure is
    // reported by a later call, by commit() at the latest. All of these throw FileError.
    void write(const void* data, std::size_t bytes);
    void write(std::string_view text) { write(text.data(), text.size()); }
    // Appends `bytes` bytes that the caller must fill in before the next call.
    char* extend(std::size_t bytes);
    // Writes immediately at any offset. Not to be mixed with bytes that are still in a block.
    void write_at(std::int64_t offset, const void* data, std::size_t bytes);
    // Waits until all blocks are written.
    void flush();
    std::int64_t position() const { return m_position; }
    void seek_end(std::int64_t position) { m_position = position; }
    void commit();

    // For writers that open the file by name.
    const std::string& temporary_name() const { return m_temporary; }
    const std::string& name() const { return m_path; }

  private:
    void place();
    void copy_out();

    std::string m_path;
    std::string m_target; // m_path with symbolic links resolved
    std::string m_temporary;
    bool m_force;
    bool m_device = false;
    bool m_done = false;
    Descriptor m_file;
    std::int64_t m_position = 0;
    std::vector<char> m_buffer;
    std::size_t m_filled = 0; // bytes of it
    std::unique_ptr<WriteBehind> m_behind;
};

// Removes the unfinished output when the program is interrupted or the terminal goes, and makes a
// closed pipe and a limit on the size of files errors of writing. The status is 128 and the signal.
void clean_up_on_signals();

// Blocks these signals during its lifetime, for writers that have temporary files of their own.
class HeldSignals {
  public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
};

} // namespace vx::cache
