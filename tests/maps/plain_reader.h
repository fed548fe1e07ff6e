// A reader of map files that is written from docs/map-format.md alone. It shares no code with the
// engine.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace plain {

struct Field {
    std::string name;
    unsigned type = 0;
    unsigned length = 1;
    bool global = false;
    std::vector<std::uint32_t> value; // of a global field
};

struct Map {
    std::string form;
    unsigned dimension = 0;
    std::vector<Field> fields;
    // One record per element in the order of appending.
    std::vector<std::vector<std::uint32_t>> records;
};

// Throws std::runtime_error with the reason.
Map read(const std::string& bytes);

// The checksum that the header of a binary file should have.
std::uint64_t checksum(std::string bytes);

} // namespace plain
