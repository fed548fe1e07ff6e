#include "host/image/output_file.h"

#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vx::image {

namespace fs = std::filesystem;

namespace {

using Reason = std::optional<std::string>;

std::string error_text(int error) {
    return std::generic_category().message(error);
}

// Creates the missing directories of a path and removes them again unless keep() is called.
class NewFolders {
  public:
    std::error_code make(const fs::path& folder) {
        std::error_code error;
        for (fs::path p = folder; !p.empty() && !fs::exists(p, error); p = p.parent_path()) {
            m_made.push_back(p);
            if (!p.has_relative_path()) break;
        }
        error.clear();
        if (!m_made.empty()) fs::create_directories(folder, error);
        return error;
    }
    void keep() { m_made.clear(); }
    NewFolders() = default;
    NewFolders(const NewFolders&) = delete;
    NewFolders& operator=(const NewFolders&) = delete;
    ~NewFolders() {
        std::error_code ignored;
        for (const fs::path& p : m_made)
            fs::remove(p, ignored);
    }

  private:
    std::vector<fs::path> m_made; // innermost first
};

class Descriptor {
  public:
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { (void)close(); }
    [[nodiscard]] int get() const { return m_number; }
    // Returns 0 or an error number. The descriptor is closed in either case.
    int close() {
        const int number = std::exchange(m_number, -1);
        return number < 0 || ::close(number) == 0 ? 0 : errno;
    }

  private:
    int m_number;
};

// The temporary file, if there is one. Pictures are written one at a time.
std::atomic<const char*> unfinished{nullptr};

// A new file in a folder, which is removed unless it is renamed.
class TemporaryFile {
  public:
    explicit TemporaryFile(const fs::path& folder) : m_file(create(folder, m_path)) {
        if (m_file.get() < 0)
            m_error = errno;
        else
            unfinished = m_path.c_str();
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (m_error == 0) (void)::unlink(m_path.c_str());
        unfinished = nullptr;
    }
    [[nodiscard]] int error() const { return m_error; }
    Descriptor& file() { return m_file; }
    // 0 or an error number.
    int rename_to(const fs::path& target) {
        if (::rename(m_path.c_str(), target.c_str()) != 0) return errno;
        m_error = ENOENT; // the temporary name no longer exists
        return 0;
    }

  private:
    // Doesn't use mkstemp(), which would ignore the umask.
    static int create(const fs::path& folder, fs::path& path) {
        constexpr int kAttempts = 1000;
        int file = -1;
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            path = folder / fmt::format(".vx_render-{}-{}.part", ::getpid(), attempt);
            file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (file >= 0 || errno != EEXIST) break;
        }
        return file;
    }

    fs::path m_path;
    Descriptor m_file;
    int m_error = 0;
};

fs::path folder_of(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

// Returns 0 or an error number. An interrupted write fails, so that Ctrl-C ends the wait for the
// reader of a pipe.
int write_all(int file, std::span<const unsigned char> bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(file, bytes.data(), bytes.size());
        if (n < 0) return errno;
        if (n == 0) return EIO;
        bytes = bytes.subspan(static_cast<std::size_t>(n));
    }
    return 0;
}

Reason write_stream(const fs::path& path, std::span<const unsigned char> bytes) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
    if (file.get() < 0) return "cannot be opened: " + error_text(errno);
    if (const int error = write_all(file.get(), bytes))
        return "cannot be written: " + error_text(error);
    if (const int error = file.close()) return "cannot be closed: " + error_text(error);
    return std::nullopt;
}

Reason write_file(const OutputTarget& target, std::span<const unsigned char> bytes) {
    NewFolders folders;
    if (const auto error = folders.make(target.path.parent_path()))
        return "its folder cannot be made: " + error.message();
    TemporaryFile temporary(folder_of(target.path));
    if (temporary.error() != 0)
        return "no file can be made in its folder: " + error_text(temporary.error());
    const int file = temporary.file().get();
    if (target.exists && ::fchmod(file, target.mode) != 0)
        return "its access rights cannot be kept: " + error_text(errno);
    if (const int error = write_all(file, bytes)) return "cannot be written: " + error_text(error);
    if (::fsync(file) != 0) return "cannot be written: " + error_text(errno);
    struct stat status {};
    if (::fstat(file, &status) != 0) return "cannot be checked: " + error_text(errno);
    if (!std::cmp_equal(status.st_size, bytes.size()))
        return fmt::format("cannot be written: {} of {} bytes were stored", status.st_size,
                           bytes.size());
    if (const int error = temporary.file().close()) return "cannot be closed: " + error_text(error);
    if (const int error = temporary.rename_to(target.path))
        return "the finished file cannot be renamed: " + error_text(error);
    folders.keep();
    return std::nullopt;
}

// The file that a chain of symbolic links ends at, which need not exist.
Reason follow_links(fs::path& path) {
    constexpr int kMaxLinks = 40; // as many as the system follows
    std::error_code error;
    for (int links = 0; fs::is_symlink(fs::symlink_status(path, error)); ++links) {
        if (links == kMaxLinks) return error_text(ELOOP);
        const fs::path next = fs::read_symlink(path, error);
        if (error) return error.message();
        path = path.parent_path() / next;
    }
    return std::nullopt;
}

// Whether a file can be made in a folder, or in the nearest one above it that exists.
Reason check_folder(fs::path folder) {
    struct stat status {};
    while (::stat(folder.c_str(), &status) != 0) {
        const int reason = errno;
        std::error_code ignored;
        // A link to a folder that does not exist: no folder can be made under its name.
        const bool dangling = fs::is_symlink(fs::symlink_status(folder, ignored));
        if (reason != ENOENT || dangling) return error_text(reason);
        const fs::path above = folder_of(folder);
        if (above == folder) return error_text(ENOENT);
        folder = above;
    }
    if (!S_ISDIR(status.st_mode)) return error_text(ENOTDIR);
    if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        return error_text(errno);
    return std::nullopt;
}

} // namespace

Reason resolve_output(const fs::path& name, OutputTarget& target) {
    if (!name.has_filename()) return "the file has no name";
    target = {name, false, false, 0};
    struct stat status {};
    if (::stat(name.c_str(), &status) != 0) {
        if (errno != ENOENT) return error_text(errno);
        if (Reason reason = follow_links(target.path)) return reason;
        if (!target.path.has_filename()) return error_text(EISDIR);
    } else if (S_ISREG(status.st_mode)) {
        target.exists = true;
        target.mode = status.st_mode & 0777;
        if (::faccessat(AT_FDCWD, name.c_str(), W_OK, AT_EACCESS) != 0) return error_text(errno);
        std::error_code error;
        target.path = fs::canonical(name, error);
        if (error) return error.message();
    } else if (S_ISCHR(status.st_mode) || S_ISFIFO(status.st_mode)) {
        target.stream = true;
        return std::nullopt;
    } else if (S_ISDIR(status.st_mode)) {
        return error_text(EISDIR);
    } else {
        return S_ISBLK(status.st_mode) ? "block devices are not written to"
                                       : "sockets are not written to";
    }
    if (Reason reason = check_folder(folder_of(target.path)))
        return "no file can be made in its folder: " + *reason;
    return std::nullopt;
}

Reason write_output(const fs::path& name, std::span<const unsigned char> bytes) {
    OutputTarget target;
    if (Reason reason = resolve_output(name, target)) return reason;
    return target.stream ? write_stream(target.path, bytes) : write_file(target, bytes);
}

void remove_unfinished_output() noexcept {
    if (const char* const path = unfinished) (void)::unlink(path);
}

} // namespace vx::image
