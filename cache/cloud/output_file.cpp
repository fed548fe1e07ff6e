#include "cache/cloud/error.h"
#include "cache/cloud/file.h"
#include "cache/cloud/write_behind.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vx::cache {

namespace {

constexpr std::size_t kBlockBytes = 1 << 21;

// The name of the unfinished output, for the signal handler. Only one output is written at a time.
char g_unfinished[4096];
std::atomic<bool> g_is_unfinished{false};

// While this is set, another writer has temporary files of its own; signals wait until it has
// removed them.
std::atomic<bool> g_is_held{false};
std::atomic<int> g_held_signal{0};

void end_at(int signal) {
    if (g_is_unfinished.load()) ::unlink(g_unfinished);
    ::_exit(128 + signal);
}

extern "C" void remove_unfinished(int signal) {
    if (g_is_held.load()) {
        g_held_signal = signal;
        // The hold may have ended before the signal was recorded.
        if (g_is_held.load()) return;
    }
    end_at(signal);
}

void remember(const std::string& name) {
    g_is_unfinished = false;
    if (name.size() >= sizeof g_unfinished) return;
    std::memcpy(g_unfinished, name.c_str(), name.size() + 1);
    g_is_unfinished = true;
}

// Where a symbolic link that leads to no file points to, or the path itself.
std::string end_of_links(std::string path) {
    constexpr int kMostLinks = 40;
    for (int i = 0; i < kMostLinks; ++i) {
        std::error_code why;
        const std::filesystem::path next = std::filesystem::read_symlink(path, why);
        if (why) break;
        path = (std::filesystem::path(path).parent_path() / next).string();
    }
    return path;
}

std::string folder_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

void clean_up_on_signals() {
    // What the caller ignores stays ignored, as under nohup or in the background of a shell.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) {
        if (std::signal(signal, remove_unfinished) == SIG_IGN) (void)std::signal(signal, SIG_IGN);
    }
    // write(2) then reports exceeded file size limits as errors.
    (void)std::signal(SIGXFSZ, SIG_IGN);
}

HeldSignals::HeldSignals() {
    g_is_held = true;
}

HeldSignals::~HeldSignals() {
    g_is_held = false;
    if (const int signal = g_held_signal.exchange(0); signal != 0) end_at(signal);
}

OutputFile::OutputFile(std::string path, bool force)
    : m_path(std::move(path)), m_target(m_path), m_force(force) {
    if (m_path == "-") {
        m_path = "standard output";
        m_device = true;
        m_standard_output = true;
        if (::isatty(STDOUT_FILENO) != 0) {
            throw FileError(m_path, -1, "a cloud is not for a terminal; redirect it");
        }
    }
    struct stat status {};
    std::string folder;
    mode_t mode = 0666;
    if (m_standard_output) {
        // Nothing to look at.
    } else if (::stat(m_path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) throw FileError(m_path, -1, std::strerror(EISDIR));
        m_device = !S_ISREG(status.st_mode);
        if (!m_device && !force) {
            throw FileError(m_path, -1, "the file exists; --force replaces it");
        }
        if (!m_device && ::access(m_path.c_str(), W_OK) != 0) {
            throw FileError(m_path, -1, std::strerror(errno));
        }
        if (!m_device) {
            char* const real = ::realpath(m_path.c_str(), nullptr);
            if (real != nullptr) m_target = real;
            std::free(real);
            m_mode = status.st_mode & 07777u;
            mode = 0600;
        }
    } else {
        m_target = end_of_links(m_path);
    }
    if (!m_device) folder = folder_of(m_target);
    if (m_device) {
        const char* temporary = std::getenv("TMPDIR");
        folder = temporary != nullptr && *temporary != '\0' ? temporary : "/tmp";
    }
    // A signal between the creation of the file and the record of its name would leave it behind.
    const HeldSignals held;
    // mkstemp() would ignore the umask and restrict the access rights.
    for (int attempt = 0; attempt < 1000 && m_file.get() < 0; ++attempt) {
        m_temporary = folder + "/.vx_cache-" + std::to_string(::getpid()) + "-" +
                      std::to_string(attempt) + ".part";
        m_file =
            Descriptor(::open(m_temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (m_file.get() < 0 && errno != EEXIST) break;
    }
    if (m_file.get() < 0) {
        const std::string why = std::strerror(errno);
        m_temporary.clear();
        throw FileError(m_path, -1, why);
    }
    remember(m_temporary);
    m_behind = std::make_unique<WriteBehind>(m_file, m_path);
}

OutputFile::~OutputFile() {
    m_behind.reset();
    if (m_done || m_temporary.empty()) return;
    ::unlink(m_temporary.c_str());
    g_is_unfinished = false;
}

void OutputFile::write(const void* data, std::size_t bytes) {
    const auto* source = static_cast<const char*>(data);
    while (bytes > 0) {
        const std::size_t n = std::min(bytes, kBlockBytes);
        std::memcpy(extend(n), source, n);
        source += n;
        bytes -= n;
    }
}

char* OutputFile::extend(std::size_t bytes) {
    if (m_filled + bytes > m_buffer.size() && m_filled > 0) {
        m_behind->put(m_position - static_cast<std::int64_t>(m_filled), m_buffer, m_filled);
        m_filled = 0;
    }
    if (m_buffer.size() < bytes) m_buffer.resize(std::max(bytes, kBlockBytes));
    char* const room = m_buffer.data() + m_filled;
    m_filled += bytes;
    m_position += static_cast<std::int64_t>(bytes);
    return room;
}

void OutputFile::flush() {
    m_behind->wait();
    write_at(m_position - static_cast<std::int64_t>(m_filled), m_buffer.data(), m_filled);
    m_filled = 0;
}

void OutputFile::write_at(std::int64_t offset, const void* data, std::size_t bytes) {
    write_at_all(m_file.get(), offset, static_cast<const char*>(data), bytes, m_path);
}

void OutputFile::commit() {
    flush();
    if (m_device) {
        copy_out();
        ::unlink(m_temporary.c_str());
    } else {
        if (const int why = m_file.close(); why != 0) {
            throw FileError(m_path, -1, std::strerror(why));
        }
        place();
    }
    m_done = true;
    g_is_unfinished = false;
}

void OutputFile::place() {
    // By name, because a writer may have replaced the file.
    if (m_mode && ::chmod(m_temporary.c_str(), *m_mode) != 0) {
        throw FileError(m_path, -1, std::strerror(errno));
    }
    if (!m_force) {
        // Keep a file that another process has created in the meantime.
        if (::renameat2(AT_FDCWD, m_temporary.c_str(), AT_FDCWD, m_target.c_str(),
                        RENAME_NOREPLACE) == 0) {
            return;
        }
        if (errno == EEXIST) throw FileError(m_path, -1, "the file exists; --force replaces it");
        if (errno != EINVAL && errno != ENOSYS) throw FileError(m_path, -1, std::strerror(errno));
    }
    if (::rename(m_temporary.c_str(), m_target.c_str()) != 0) {
        throw FileError(m_path, -1, std::strerror(errno));
    }
}

void OutputFile::copy_out() {
    const Descriptor device(m_standard_output ? ::dup(STDOUT_FILENO)
                                              : ::open(m_path.c_str(), O_WRONLY | O_CLOEXEC));
    if (device.get() < 0) throw FileError(m_path, -1, std::strerror(errno));
    // Remove by name, because a writer may have replaced the file.
    const InputFile whole(m_temporary);
    std::vector<char> buffer(1 << 20);
    for (std::int64_t at = 0; at < whole.size();) {
        const std::size_t got = whole.read_some(at, buffer.data(), buffer.size());
        for (std::size_t done = 0; done < got;) {
            const ssize_t n = ::write(device.get(), buffer.data() + done, got - done);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) {
                throw FileError(m_path, at + static_cast<std::int64_t>(done), std::strerror(errno));
            }
            done += static_cast<std::size_t>(n);
        }
        at += static_cast<std::int64_t>(got);
    }
}

} // namespace vx::cache
