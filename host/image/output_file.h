// Files that are replaced as a whole or not at all.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace vx::image {

// The file that an output name refers to, with symbolic links resolved.
struct OutputTarget {
    std::filesystem::path path;
    bool stream = false; // a character device or a pipe: bytes go to it directly
    bool exists = false;
    unsigned int mode = 0; // access rights of a regular file that exists
};

// Resolves symbolic links; a dangling link resolves to the file that it points to. Returns a reason
// for directories, block devices, sockets, write-protected files and directories, and circular
// links. Missing directories are not an error.
[[nodiscard]] std::optional<std::string> resolve_output(const std::filesystem::path& name,
                                                        OutputTarget& target);

// Writes the bytes to the file, device or pipe that `name` refers to. A regular file is replaced
// only when all bytes are on the disk: a temporary file in the same directory is written,
// synchronized, closed and renamed. The new file has the access rights of the old one. Missing
// directories are created. A failure leaves neither a temporary file nor a new directory. Returns
// the reason on failure.
[[nodiscard]] std::optional<std::string> write_output(const std::filesystem::path& name,
                                                      std::span<const unsigned char> bytes);

// Removes the temporary file that write_output() is writing, if any. Async-signal-safe, for
// handlers that end the process.
void remove_unfinished_output() noexcept;

} // namespace vx::image
