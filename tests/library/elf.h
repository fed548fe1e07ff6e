// Reads imports and exports of 64-bit ELF shared objects.
#pragma once

#include <string>
#include <vector>

namespace vx::test {

struct SharedObject {
    std::vector<std::string> needed;         // names of libraries
    std::vector<std::string> exported;       // defined dynamic symbols, sorted
    std::vector<std::string> from_libraries; // undefined symbols with a library's version
    std::vector<std::string> unversioned;    // undefined, not weak, and without a version
};

// Throws std::runtime_error if it is not a 64-bit little-endian ELF file with dynamic symbols.
SharedObject read_shared_object(const std::string& path);

} // namespace vx::test
