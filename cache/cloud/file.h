/// @file
/// Files: input with access to any offset, even of a pipe; output that appears complete or not at
/// all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

/// Owns a file descriptor.
class Descriptor {
  public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();
    /// The descriptor, or -1.
    int get() const { return m_fd; }
    /// @return errno if close(2) fails, else 0
    int close();

  private:
    int m_fd;
};

/// Creates an unlinked file in $TMPDIR, or in /tmp.
/// @throws FileError
Descriptor temporary_file();

/// A file that can be read at any offset. Pipes are copied to a temporary file first. Reading is
/// thread-safe.
class InputFile {
  public:
    /// @param path  "-" stands for the standard input
    /// @throws FileError  also for directories and devices
    explicit InputFile(const std::string& path);

    const std::string& name() const { return m_name; }
    std::int64_t size() const { return m_size; }
    /// @throws FileError  at `offset`, if the file has fewer bytes
    void read(std::int64_t offset, void* out, std::size_t bytes) const;
    /// @return the number of bytes read: fewer than `bytes` only at the end of the file
    /// @throws FileError
    std::size_t read_some(std::int64_t offset, void* out, std::size_t bytes) const;
    /// Returns a new stream at the start of the file. The caller closes it.
    std::FILE* stream() const;
    int descriptor() const { return m_file.get(); }

  private:
    std::string m_name;
    Descriptor m_file;
    std::int64_t m_size = 0;
};

/// Reads a part of a file from front to back. The file must outlive the reader.
class ByteReader {
  public:
    ByteReader(const InputFile& file, std::int64_t begin, std::int64_t end);

    /// The next byte, or -1 at the end.
    int peek() {
        if (m_next == m_filled && !fill()) return -1;
        return static_cast<unsigned char>(m_buffer[m_next]);
    }
    /// Like peek(), and moves past the byte.
    int get() {
        const int c = peek();
        if (c >= 0) ++m_next;
        return c;
    }
    /// Of the next byte, in the file.
    std::int64_t offset() const { return m_base + static_cast<std::int64_t>(m_next); }
    const InputFile& file() const { return m_file; }
    /// Reads up to the end of the line, and past it.
    /// @param out  the line without its end; valid until the next call
    /// @return false at the end
    /// @throws FileError  if the line has more than `limit` bytes
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

/// A file that is written to a temporary file in the same folder, which commit() renames. Without a
/// commit() the destructor removes it. A file that is replaced passes on its access rights.
/// Devices and pipes receive all bytes at commit(). One may exist at a time. All members throw
/// FileError.
class OutputFile {
  public:
    /// @param path   "-" stands for the standard output
    /// @param force  whether to replace an existing file; otherwise it is an error
    OutputFile(std::string path, bool force);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    /// Appends bytes to a block; a thread writes full blocks in the background. A failed write is
    /// thrown by a later call, by commit() at the latest.
    void write(const void* data, std::size_t bytes);
    void write(std::string_view text) { write(text.data(), text.size()); }
    /// Appends `bytes` bytes and returns their address. The caller fills them in before the next
    /// call.
    char* extend(std::size_t bytes);
    /// Writes at any offset, at once. Must not overlap bytes that are still in a block.
    void write_at(std::int64_t offset, const void* data, std::size_t bytes);
    /// Writes what is in blocks, and waits until all of it is written.
    void flush();
    /// The number of bytes appended.
    std::int64_t position() const { return m_position; }
    /// Gives the file its name.
    void commit();

    /// The file to write, for libraries that open it by name.
    const std::string& temporary_name() const { return m_temporary; }
    /// The name as given, for messages.
    const std::string& name() const { return m_path; }

  private:
    void place();
    void copy_out();

    std::string m_path;
    std::string m_target; // m_path with symbolic links resolved
    std::string m_temporary;
    bool m_force;
    bool m_device = false;
    bool m_standard_output = false;
    std::optional<unsigned> m_mode; // of the file that is replaced
    bool m_done = false;
    Descriptor m_file;
    std::int64_t m_position = 0;
    std::vector<char> m_buffer;
    std::size_t m_filled = 0; // bytes of it
    std::unique_ptr<WriteBehind> m_behind;
};

/// Installs signal handlers for programs: SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGPIPE remove
/// unfinished output and exit with status 128 + signal, unless they are ignored already; SIGXFSZ is
/// ignored, so that write(2) fails instead.
void clean_up_on_signals();

/// Delays these signals during its lifetime: while a library that has temporary files of its own
/// writes. One may exist at a time.
class HeldSignals {
  public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
};

} // namespace vx::cache
