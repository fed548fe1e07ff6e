// Files that are replaced as a whole or not at all.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace vx::image {

// The place that a name of an output stands for, after its symbolic links.
struct OutputTarget {
    std::filesystem::path path;
    bool stream = false; // a character device or a pipe: bytes go to it directly
    bool exists = false;
    unsigned int mode = 0; // access rights of a regular file that exists
};

// Follows symbolic links; a dangling link stands for the file that it points to. Returns the reason
// if nothing can be written there: folders, block devices, sockets, write-protected files, folders
// that take no new file, links in a circle. Missing folders are no reason.
[[nodiscard]] std::optional<std::string> resolve_output(const std::filesystem::path& name,
                                                        OutputTarget& target);

// Writes the bytes to the file, device or pipe that `name` stands for. A regular file gets its name
// only when all bytes are on the disk: a temporary file in the same folder is written,
// synchronized, closed and renamed. Until then an old file of that name stays; the new one takes
// over its access rights. Missing folders are made. After a failure neither a temporary file nor a
// new folder is left. Returns the reason on failure.
[[nodiscard]] std::optional<std::string> write_output(const std::filesystem::path& name,
                                                      std::span<const unsigned char> bytes);

} // namespace vx::image
