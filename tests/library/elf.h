// A reader of 64-bit ELF shared objects, as much as says what one exports and needs.
#pragma once

#include <string>
#include <vector>

namespace vx::test {

struct SharedObject {
    std::vector<std::string> needed;         // names of the libraries that it asks for
    std::vector<std::string> exported;       // dynamic symbols that it defines, sorted
    std::vector<std::string> from_libraries; // undefined ones that carry a library's version
    std::vector<std::string> from_anybody;   // undefined, not weak, and without a version
};

// Throws std::runtime_error for what is no 64-bit little-endian ELF file with dynamic symbols.
SharedObject read_shared_object(const std::string& path);

} // namespace vx::test
